#pragma once

#include <QObject>
#include <QPoint>
#include <QString>

#include <functional>
#include <memory>

namespace trovix {

// Left clicks in other applications, wherever on the desktop they land.
class ClickMonitor {
public:
    // Called on the main thread once per press of the left button outside this process's windows,
    // with the pointer's position on the desktop in native pixels.
    using Handler = std::function<void(QPoint nativePosition)>;

    virtual ~ClickMonitor() = default;

    // Why clicks in other applications cannot be seen in this session, and what to do instead;
    // empty when they can.
    virtual QString unavailableReason() const = 0;
    // Reports clicks to `handler` until the returned object is destroyed. Null when the clicks
    // cannot be watched; `error` (when given) then says why.
    virtual std::unique_ptr<QObject> watch(Handler handler, QString* error = nullptr) = 0;
};

} // namespace trovix
