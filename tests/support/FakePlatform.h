#pragma once

// A scripted platform for tests: installs itself while it lives. Its screen grab paints a pattern
// whose colour encodes the desktop position of every pixel (see patternColor), records each
// rectangle asked for, and can be told to fail; windows unmapped and mapped are recorded; the
// settle wait ends at once (queued). Global keys record their bindings.
//
//     FakePlatform platform;
//     platform.failGrabs = 1;                 // the second grab fails
//     … run the command …
//     QCOMPARE(platform.grabs.size(), 2);

#include "document/Error.h"
#include "platform/Platform.h"

#include <QList>
#include <QMutex>
#include <QRgb>
#include <QTimer>

namespace trovix {

class FakePlatform : public Platform {
public:
    // The colour the fake desktop has at (x, y): unique for every pixel of a 4096 × 4096 desktop.
    static QRgb patternColor(int x, int y) { return qRgb(x & 0xff, y & 0xff, ((x >> 8) << 4) | (y >> 8)); }

    class Grabber : public ScreenGrabber {
    public:
        Access access() const override { return Access::granted; }
        QString unavailableReason() const override { return {}; }
        QImage grab(const QRect& rect) override {
            QMutexLocker lock(&mutex);
            const int index = int(grabs.size());
            grabs.append(rect);
            if (index == failAt)
                throw Error(Error::Code::noDisplay, QStringLiteral("The screen is no longer connected."));
            QImage image(rect.size(), QImage::Format_RGB32);
            for (int y = 0; y < rect.height(); ++y) {
                auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
                for (int x = 0; x < rect.width(); ++x)
                    line[x] = patternColor(rect.x() + x, rect.y() + y);
            }
            return image;
        }
        bool hasWindowManager() const override { return windowManager; }
        void unmapWindow(WId window) override { unmapped.append(window); }
        void mapWindow(WId window) override { mapped.append(window); }
        void whenSettled(const QList<QWindow*>& leaving, QObject* context,
                         std::function<void()> done) override {
            settled.append(leaving);
            QTimer::singleShot(0, context, std::move(done));
        }

        QMutex mutex;
        QList<QRect> grabs;
        int failAt = -1;
        bool windowManager = false;
        QList<WId> unmapped;
        QList<WId> mapped;
        QList<QList<QWindow*>> settled;
    };

    class Keys : public GlobalKeys {
    public:
        QString unavailableReason() const override { return {}; }
        void setHandler(Handler h) override { handler = std::move(h); }
        bool bind(Identity identity, quint32 keysym, quint32 modifiers) override {
            bindings.append({identity, keysym, modifiers});
            return true;
        }
        struct Bound {
            Identity identity;
            quint32 keysym;
            quint32 modifiers;
        };
        Handler handler;
        QList<Bound> bindings;
    };

    // Clicks are fed to the recorder directly by the tests that need them.
    class Clicks : public ClickMonitor {
    public:
        QString unavailableReason() const override { return {}; }
        std::unique_ptr<QObject> watch(Handler, QString*) override { return std::make_unique<QObject>(); }
    };

    FakePlatform() { Platform::setCurrent(this); }
    ~FakePlatform() override { Platform::setCurrent(nullptr); }
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;

    QString name() const override { return QStringLiteral("fake"); }
    ScreenGrabber& screenGrabber() override { return grabber; }
    GlobalKeys& globalKeys() override { return keys; }
    ClickMonitor& clickMonitor() override { return clicks; }

    Grabber grabber;
    Keys keys;
    Clicks clicks;
};

} // namespace trovix
