#include "FuzzSupport.h"

#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>

namespace trovix::fuzz {

void startQt(int* argc, char*** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
        if (type == QtFatalMsg) {
            std::fprintf(stderr, "Qt fatal: %s\n", qPrintable(message));
            std::abort();
        }
    });
    // Lives until the process ends; libFuzzer never returns from its loop.
    static QGuiApplication app(*argc, *argv);
}

void broken(const char* what, const QString& detail) {
    std::fprintf(stderr, "\n*** %s%s%s\n", what, detail.isEmpty() ? "" : ": ", qPrintable(detail));
    std::abort();
}

} // namespace trovix::fuzz
