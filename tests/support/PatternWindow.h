#pragma once

// A window of a known picture, for screen-capture tests: every pixel is FakePlatform::patternColor
// of its desktop position. It runs in a separate process (a window of the process under test would
// be one of its own windows): the test's main() hands "--pattern" to run(), startPatternProcess()
// starts it.

#include "support/FakePlatform.h"

#include <QApplication>
#include <QPaintEvent>
#include <QPainter>
#include <QProcess>
#include <QScreen>
#include <QTimer>
#include <QWidget>

#include <cstdio>

namespace trovix {

class PatternWindow : public QWidget {
public:
    PatternWindow()
        : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint) {
        setAttribute(Qt::WA_OpaquePaintEvent);
        setWindowTitle(QStringLiteral("Pattern"));
    }

    // Where the window lies: the whole primary screen but its bottom row, since window managers
    // treat an undecorated window of exactly the screen's size as full-screen and stack it above
    // everything once it is active.
    static QRect area() { return QGuiApplication::primaryScreen()->geometry().adjusted(0, 0, 0, -1); }

    // The desktop's pattern in `rect`, in device pixels.
    static QImage expected(const QRect& rect) {
        QImage image(rect.size(), QImage::Format_RGB32);
        for (int y = 0; y < rect.height(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < rect.width(); ++x)
                line[x] = FakePlatform::patternColor(rect.x() + x, rect.y() + y);
        }
        return image;
    }

    static int run(int argc, char** argv) {
        QApplication app(argc, argv);
        PatternWindow window;
        window.setGeometry(area());
        window.show();
        // Announced once the window is on the screen and painted.
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &window, [&] {
            if (window.m_painted && window.windowHandle()->isExposed() && window.pos() == QPoint(0, 0)) {
                poll.stop();
                std::printf("ready %llu\n", static_cast<unsigned long long>(window.winId()));
                std::fflush(stdout);
            }
        });
        poll.start(20);
        return app.exec();
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter painter(this);
        const QRect area = event->rect();
        painter.drawImage(area.topLeft(), expected(area.translated(mapToGlobal(QPoint(0, 0)))));
        m_painted = true;
    }

private:
    bool m_painted = false;
};

// Starts this test executable again as the pattern window; returns its X window id, or 0.
inline quint64 startPatternProcess(QProcess& process) {
    process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--pattern")});
    if (!process.waitForStarted(5000))
        return 0;
    while (process.waitForReadyRead(10000)) {
        while (process.canReadLine()) {
            const QByteArray line = process.readLine().trimmed();
            if (line.startsWith("ready "))
                return line.mid(6).toULongLong();
        }
    }
    return 0;
}

} // namespace trovix
