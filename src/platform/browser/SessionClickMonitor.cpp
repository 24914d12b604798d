#include "platform/browser/SessionClickMonitor.h"

#include "platform/Platform.h"
#include "platform/browser/BrowserClickSource.h"

#include <QCoreApplication>
#include <QPointer>
#include <QTimer>

#include <chrono>
#include <deque>

namespace trovix {

namespace {

using Clock = std::chrono::steady_clock;

// The typing a recording ended that has yet to come from its page when the recording stops (the
// stop itself ends typing in a page): handed on in order as it comes, for a few seconds at most.
class LateTyping : public QObject {
public:
    struct Waiting {
        quint64 press;
        std::optional<PlatformClick> click;
    };

    LateTyping(BrowserClickSource& browser, ClickMonitor::Handler handler, std::deque<Waiting> waiting)
        : QObject(&browser)
        , m_handler(std::move(handler))
        , m_waiting(std::move(waiting)) {
        connect(&browser, &BrowserClickSource::typingEnded, this, [this, &browser](quint64 press) {
            if (!browser.isRecording()) // otherwise the next recording's
                m_waiting.push_back({press, std::nullopt});
        });
        connect(&browser, &BrowserClickSource::clicked, this, [this](quint64 press, const PageClick& page) {
            for (Waiting& waiting : m_waiting) {
                if (waiting.press == press) {
                    waiting.click = PlatformClick{page.position.toPoint(), std::nullopt, page};
                    waiting.click->made = Clock::now();
                }
            }
            flush();
        });
        connect(&browser, &BrowserClickSource::lost, this, [this](quint64 press) {
            std::erase_if(m_waiting, [press](const Waiting& waiting) { return waiting.press == press; });
            flush();
        });
        QTimer::singleShot(BrowserClickSource::lateTypingMs, this, &QObject::deleteLater);
        // Not from inside the recording's end.
        QMetaObject::invokeMethod(this, &LateTyping::flush, Qt::QueuedConnection);
    }

private:
    void flush() {
        while (!m_waiting.empty() && m_waiting.front().click) {
            const PlatformClick click = *m_waiting.front().click;
            m_waiting.pop_front();
            m_handler(click);
        }
    }

    ClickMonitor::Handler m_handler;
    std::deque<Waiting> m_waiting;
};

// One recording's clicks from both sources, put back in the order they were made. A desktop click is
// held for a moment in case a browser reports the same press; a page's press keeps its place until
// its picture arrives.
class ClickSequence : public QObject {
public:
    ClickSequence(BrowserClickSource& browser, ClickMonitor::Handler handler, ClickMonitor::LostHandler lost)
        : m_browser(browser)
        , m_handler(std::move(handler))
        , m_lost(std::move(lost)) {
        m_timer.setSingleShot(true);
        connect(&m_timer, &QTimer::timeout, this, &ClickSequence::flush);
        connect(&browser, &BrowserClickSource::pressed, this, &ClickSequence::pressed);
        connect(&browser, &BrowserClickSource::typingEnded, this, &ClickSequence::typingEnded);
        connect(&browser, &BrowserClickSource::clicked, this, &ClickSequence::clicked);
        connect(&browser, &BrowserClickSource::lost, this, &ClickSequence::dropped);
        browser.setRecording(true);
    }

    ~ClickSequence() override {
        std::deque<LateTyping::Waiting> typing;
        for (const Entry& entry : m_queue)
            if (entry.typing)
                typing.push_back({entry.press, entry.ready ? std::optional(entry.click) : std::nullopt});
        // One at a time: what an earlier stop still waited for is too late by now.
        static QPointer<LateTyping> late;
        delete late.data();
        late = new LateTyping(m_browser, m_handler, std::move(typing));
        m_browser.setRecording(false);
    }

    void setDesktop(std::unique_ptr<QObject> desktop) {
        m_desktop = std::move(desktop);
        if (m_desktop)
            return;
        // Only the browsers are watched: losing the last of them ends the recording.
        connect(&m_browser, &BrowserClickSource::connectedChanged, this, [this](bool connected) {
            if (connected || !m_lost)
                return;
            const ClickMonitor::LostHandler lost = m_lost;
            m_lost = {};
            lost(QCoreApplication::translate("trovix::SessionClickMonitor",
                                             "The browser extension disconnected, and this desktop lets "
                                             "Trovix see clicks in the browser only."));
        });
    }

    void desktopClick(PlatformClick click) {
        const Clock::time_point now = Clock::now();
        if (click.made == Clock::time_point())
            click.made = now;
        // The same press, already reported by a browser.
        while (!m_unmatchedPresses.empty() && now - m_unmatchedPresses.front() > hold())
            m_unmatchedPresses.pop_front();
        if (!m_unmatchedPresses.empty()) {
            m_unmatchedPresses.pop_front();
            return;
        }
        if (!m_browser.isConnected() && m_queue.empty()) {
            m_handler(click);
            return;
        }
        m_queue.push_back({Entry::desktop, 0, click, now + hold(), false});
        flush();
    }

    void lostDesktop(const QString& reason) {
        if (!m_lost)
            return;
        const ClickMonitor::LostHandler lost = m_lost;
        m_lost = {};
        lost(reason);
    }

private:
    struct Entry {
        enum Kind { desktop, page } kind;
        quint64 press;
        PlatformClick click;
        Clock::time_point deadline;
        bool ready;
        // A page's typing, which may still come after the recording stops.
        bool typing = false;
    };

    static Clock::duration hold() { return std::chrono::milliseconds(SessionClickMonitor::holdMs); }

    void pressed(quint64 press) {
        const Clock::time_point now = Clock::now();
        // A desktop click held in the last moment is this press seen from outside the browser.
        PlatformClick click;
        click.made = now;
        bool matched = false;
        for (auto it = m_queue.begin(); it != m_queue.end(); ++it) {
            if (it->kind == Entry::desktop && it->deadline - hold() >= now - hold()) {
                click.made = it->click.made;
                m_queue.erase(it);
                matched = true;
                break;
            }
        }
        if (!matched)
            m_unmatchedPresses.push_back(now);
        m_queue.push_back({Entry::page, press, click,
                           now + std::chrono::milliseconds(SessionClickMonitor::pictureWaitMs), false});
        flush();
    }

    // Typing that ended in a page keeps its place among the clicks; no desktop click is the same.
    void typingEnded(quint64 press) {
        PlatformClick click;
        click.made = Clock::now();
        m_queue.push_back({Entry::page, press, click,
                           click.made + std::chrono::milliseconds(SessionClickMonitor::pictureWaitMs), false,
                           true});
        flush();
    }

    void clicked(quint64 press, const PageClick& page) {
        for (Entry& entry : m_queue) {
            if (entry.kind == Entry::page && entry.press == press) {
                entry.click.page = page;
                entry.click.nativePosition = page.position.toPoint();
                entry.ready = true;
                break;
            }
        }
        flush();
    }

    void dropped(quint64 press) {
        for (auto it = m_queue.begin(); it != m_queue.end(); ++it) {
            if (it->kind == Entry::page && it->press == press) {
                m_queue.erase(it);
                break;
            }
        }
        flush();
    }

    // Hands on every click at the front of the queue that is due, in order.
    void flush() {
        const Clock::time_point now = Clock::now();
        while (!m_queue.empty()) {
            Entry& front = m_queue.front();
            if (front.kind == Entry::desktop && front.deadline <= now)
                front.ready = true;
            if (front.ready) {
                const PlatformClick click = front.click;
                m_queue.pop_front();
                m_handler(click);
                continue;
            }
            if (front.kind == Entry::page && front.deadline <= now) {
                m_queue.pop_front();
                continue;
            }
            break;
        }
        if (m_queue.empty()) {
            m_timer.stop();
            return;
        }
        const auto wait =
            std::chrono::duration_cast<std::chrono::milliseconds>(m_queue.front().deadline - now);
        m_timer.start(std::max<qint64>(1, wait.count() + 1));
    }

    BrowserClickSource& m_browser;
    ClickMonitor::Handler m_handler;
    ClickMonitor::LostHandler m_lost;
    std::unique_ptr<QObject> m_desktop;
    std::deque<Entry> m_queue;
    std::deque<Clock::time_point> m_unmatchedPresses;
    QTimer m_timer;
};

} // namespace

SessionClickMonitor& SessionClickMonitor::instance() {
    static SessionClickMonitor* monitor = new SessionClickMonitor(
        BrowserClickSource::instance(), []() -> ClickMonitor& { return Platform::current().clickMonitor(); },
        QCoreApplication::instance());
    return *monitor;
}

SessionClickMonitor::SessionClickMonitor(BrowserClickSource& browser, std::function<ClickMonitor&()> desktop,
                                         QObject* parent)
    : QObject(parent)
    , m_browser(browser)
    , m_desktop(std::move(desktop)) {
    connect(&browser, &BrowserClickSource::connectedChanged, this, &SessionClickMonitor::availabilityChanged);
}

QString SessionClickMonitor::unavailableReason() const {
    if (m_browser.isConnected())
        return {};
    return m_desktop().unavailableReason();
}

QString SessionClickMonitor::enableOffer() const {
    return m_desktop().enableOffer();
}

bool SessionClickMonitor::enable(QString* error) {
    const bool enabled = m_desktop().enable(error);
    Q_EMIT availabilityChanged();
    return enabled;
}

QString SessionClickMonitor::browserOnlyNote() const {
    if (!m_browser.isConnected() || m_desktop().unavailableReason().isEmpty())
        return {};
    return QCoreApplication::translate("trovix::SessionClickMonitor",
                                       "Clicks are recorded in the browser only: this desktop lets no "
                                       "application see clicks in other windows.");
}

std::unique_ptr<QObject> SessionClickMonitor::watch(Handler handler, LostHandler lost, QString* error) {
    auto sequence = std::make_unique<ClickSequence>(m_browser, std::move(handler), std::move(lost));
    ClickSequence* raw = sequence.get();
    ClickMonitor& desktop = m_desktop();
    std::unique_ptr<QObject> desktopWatch;
    QString desktopError;
    if (desktop.unavailableReason().isEmpty()) {
        desktopWatch =
            desktop.watch([raw](const PlatformClick& click) { raw->desktopClick(click); },
                          [raw](const QString& reason) { raw->lostDesktop(reason); }, &desktopError);
        if (!desktopWatch) {
            if (error)
                *error = desktopError;
            return nullptr;
        }
    } else if (!m_browser.isConnected()) {
        if (error)
            *error = desktop.unavailableReason();
        return nullptr;
    }
    raw->setDesktop(std::move(desktopWatch));
    return sequence;
}

} // namespace trovix
