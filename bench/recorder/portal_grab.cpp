// The time one picture of the whole desktop takes as the click recorder takes it on Wayland: through
// the screenshot portal under GNOME Shell, through KWin's own screenshot interface under KWin.
// session-latency.sh runs it inside each headless session.
//   bench_portal_grab [GRABS [SAVE_AS.png]]   (the last picture is kept where asked, to look at)
#include "platform/Platform.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <cstdio>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const int grabs = argc > 1 ? std::max(1, atoi(argv[1])) : 10;
    trovix::ScreenGrabber& grabber = trovix::Platform::current().screenGrabber();
    const QRect desktop = QGuiApplication::primaryScreen()->geometry();
    std::vector<double> times;
    for (int i = 0; i < grabs; ++i) {
        QElapsedTimer timer;
        timer.start();
        const QImage image = grabber.grab(desktop);
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
        if (image.isNull())
            return 1;
        if (argc > 2 && i == grabs - 1)
            image.save(QString::fromLocal8Bit(argv[2]));
    }
    std::sort(times.begin(), times.end());
    std::printf("%s (%s) grab of %dx%d: median %.0f ms, min %.0f ms, max %.0f ms (%d grabs)\n",
                qPrintable(trovix::Platform::current().name()), qgetenv("TROVIX_BENCH_SESSION").constData(),
                desktop.width(), desktop.height(), times[times.size() / 2], times.front(), times.back(),
                grabs);
    return 0;
}
