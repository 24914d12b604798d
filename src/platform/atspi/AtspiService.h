#pragma once

#include "platform/ClickMonitor.h"
#include "recorder/AccessibleElement.h"
#include "recorder/ScreenLayout.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace trovix {

class ApplicationIndex;

// The one thread on which Trovix talks to the accessibility bus. Other applications answer there
// at their own pace, or not at all: each call waits 400 ms at most and no call starts after its
// request's deadline, so a hung application costs a request its answer, never the user interface.
//
// Talks the protocol over QtDBus rather than through libatspi, which attaches its connections to
// the process's default GLib main context (in a Qt application the GUI thread's event loop) and so
// would run its message handlers on the GUI thread while this thread uses the same caches.
class AtspiService {
public:
    using Clock = std::chrono::steady_clock;
    using Task = std::function<void(const AccessibleDesktop&)>;

    // The service, its thread started on first use and stopped when the application object goes.
    static AtspiService& instance();

    // Runs task on the accessibility thread, in the order given. Calls on the desktop fail once the
    // deadline has passed. `clicked` is the window under the click where the compositor named it
    // (native pixels): the desktop then looks in that window alone.
    void run(Task task, const ScreenLayout& layout, Clock::time_point deadline,
             std::optional<ClickedWindow> clicked = std::nullopt);
    // Starts reading the installed applications' names in the background, unless they are read
    // already (they are read again whenever their folders change).
    void prepareApplications();

    // Asks the session to switch toolkit accessibility on (org.a11y.Status.IsEnabled), so that
    // applications expose their trees; those started afterwards do so from the start. Does not
    // wait for the answer. Never touches the screen reader setting.
    static void enableAccessibility();

    ~AtspiService();

private:
    AtspiService();
    // Made before the thread that uses it and gone after it.
    std::unique_ptr<ApplicationIndex> m_applications;
    void loop();
    void stop();
    struct Worker;

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void(Worker&)>> m_queue;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace trovix
