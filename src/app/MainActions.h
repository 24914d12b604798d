#pragma once

#include "export/ExportQuality.h"

#include <QUuid>

#include <functional>

namespace trovix {

// The seven callbacks through which the main window reaches the rest of the application. The
// window never learns what a callback did; an empty callback does nothing.
struct MainActions {
    std::function<void()> capture;
    std::function<void()> toggleRecording;
    std::function<void(const QUuid& stepId)> annotate;
    std::function<void(ExportFormat format)> exportGuide;
    std::function<void()> newGuide;
    std::function<void()> save;
    std::function<void()> library;
};

// Calls `fn` with `args` when it is set.
template <typename Fn, typename... Args>
void invoke(const Fn& fn, Args&&... args) {
    if (fn)
        fn(std::forward<Args>(args)...);
}

} // namespace trovix
