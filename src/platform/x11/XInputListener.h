#pragma once

#include <QObject>
#include <QString>

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>

namespace trovix {

// A reply xcb allocated, freed when it goes.
template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> ownReply(Reply* reply) {
    return {reply, &std::free};
}

// A private connection to the X display that listens for XInput 2.1 raw events of the master devices
// on a thread of its own. Raw events arrive even while another client grabs the device, however busy
// the main thread is.
class XInputListener : public QObject {
    Q_OBJECT
public:
    // Every event of the connection (mapping notifications too), on the listening thread; the listener
    // frees it afterwards.
    using Handler = std::function<void(xcb_generic_event_t* event)>;

    // Opens the connection; isOpen() is false when the display cannot be reached or lacks XInput 2.1,
    // and error() then says which.
    XInputListener();
    // Stops the thread and closes the connection. Owners declare it last, or call stop() first, so
    // that it stops before anything its handler uses goes.
    ~XInputListener() override;

    bool isOpen() const { return m_connection && m_error.isEmpty(); }
    QString error() const { return m_error; }
    xcb_connection_t* connection() const { return m_connection; }
    std::uint32_t root() const { return m_root; }
    // The major opcode of XInput: generic events with it are XInput's.
    std::uint8_t opcode() const { return m_opcode; }
    // Whether the window is one this process made through Qt's own connection.
    bool isOwn(std::uint32_t window) const { return m_ownMask && (window & ~m_ownMask) == m_ownBase; }

    // Selects the raw events in `mask` (XCB_INPUT_XI_EVENT_MASK_RAW_…) and starts listening; false
    // with error() set when it cannot.
    bool listen(std::uint32_t mask, Handler handler);
    bool isListening() const { return m_thread.joinable(); }
    // Ends the listening thread; no handler runs after it returns.
    void stop();

private:
    void run();

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::uint8_t m_opcode = 0;
    std::uint32_t m_ownBase = 0;
    std::uint32_t m_ownMask = 0;
    int m_wakeFd = -1;
    Handler m_handler;
    std::thread m_thread;
    QString m_error;
};

} // namespace trovix
