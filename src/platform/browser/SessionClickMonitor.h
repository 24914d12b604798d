#pragma once

#include "platform/ClickMonitor.h"

#include <QObject>

#include <functional>

namespace trovix {

class BrowserClickSource;

// The clicks this session can see: the desktop's own click monitor and the browser extensions
// together. Where both see a click in a web page, the page's click wins and the desktop's is dropped,
// so every click makes one step; clicks reach the handler in the order they were made.
class SessionClickMonitor : public QObject, public ClickMonitor {
    Q_OBJECT
public:
    // How long a desktop click waits for a browser to report the same press. Longer than a press
    // takes from a page to Trovix, short enough not to be felt.
    static constexpr int holdMs = 300;
    // How long a page's press waits for its picture before it is given up. Chromium takes two tab
    // pictures a second at most, so a fast burst of clicks queues there for a while; a browser that
    // goes away gives its presses up at once.
    static constexpr int pictureWaitMs = 60000;

    // The session's monitor and the browsers of this process.
    static SessionClickMonitor& instance();

    // `desktop` gives the desktop's monitor at the time of each call.
    SessionClickMonitor(BrowserClickSource& browser, std::function<ClickMonitor&()> desktop,
                        QObject* parent = nullptr);

    QString unavailableReason() const override;
    // What the desktop's monitor offers to switch on, and doing it.
    QString enableOffer() const override;
    bool enable(QString* error) override;
    // Says that clicks are recorded in the browser only, where the desktop's clicks cannot be seen
    // but a browser's extension is connected; empty otherwise.
    QString browserOnlyNote() const;
    std::unique_ptr<QObject> watch(Handler handler, LostHandler lost = {}, QString* error = nullptr) override;

Q_SIGNALS:
    // unavailableReason() or browserOnlyNote() may have changed.
    void availabilityChanged();

private:
    BrowserClickSource& m_browser;
    std::function<ClickMonitor&()> m_desktop;
};

} // namespace trovix
