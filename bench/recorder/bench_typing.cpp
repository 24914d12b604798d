// Keyboard recording on a real X server with gtk3-widget-factory: the time from a key combination
// (Ctrl+A) to its step in the guide, and from the Tab that ends typing into an entry to the typing
// step. Keys go through XTEST on a connection of their own, as a keyboard would. Run it through
// typing.sh.
#include "WidgetFactory.h"
#include "document/Guide.h"
#include "recorder/Recorder.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

using namespace trovix;
using Clock = std::chrono::steady_clock;

namespace {

class Keyboard {
public:
    Keyboard()
        : m_connection(xcb_connect(nullptr, nullptr))
        , m_symbols(xcb_key_symbols_alloc(m_connection)) {}
    ~Keyboard() {
        xcb_key_symbols_free(m_symbols);
        xcb_disconnect(m_connection);
    }

    // Presses the keys in order and releases them in reverse; answers when the server has the last
    // press.
    Clock::time_point press(std::initializer_list<xcb_keysym_t> keys) {
        std::vector<xcb_keycode_t> codes;
        for (xcb_keysym_t key : keys) {
            xcb_keycode_t* code = xcb_key_symbols_get_keycode(m_symbols, key);
            codes.push_back(code ? code[0] : 0);
            free(code);
            xcb_test_fake_input(m_connection, XCB_KEY_PRESS, codes.back(), XCB_CURRENT_TIME, XCB_NONE, 0, 0,
                                0);
        }
        free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
        const Clock::time_point pressed = Clock::now();
        for (auto code = codes.rbegin(); code != codes.rend(); ++code)
            xcb_test_fake_input(m_connection, XCB_KEY_RELEASE, *code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_flush(m_connection);
        return pressed;
    }

private:
    xcb_connection_t* m_connection;
    xcb_key_symbols_t* m_symbols;
};

constexpr xcb_keysym_t control = 0xffe3, shift = 0xffe1, tab = 0xff09;

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    const std::size_t rank = std::size_t(std::ceil(p / 100.0 * double(values.size())));
    return values.empty() ? 0 : values[std::clamp<std::size_t>(rank, 1, values.size()) - 1];
}

void idle(int ms) {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

// Waits for the guide to hold one more step than `before`; answers when it got it, or never.
std::optional<Clock::time_point> nextStep(Guide& guide, qsizetype before) {
    QElapsedTimer timer;
    timer.start();
    while (guide.steps().size() <= before && timer.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 1);
    if (guide.steps().size() <= before)
        return std::nullopt;
    return Clock::now();
}

void report(const char* what, const std::vector<double>& values, int rounds) {
    std::printf("%-34s %3zu/%d   median %7.1f ms   p95 %7.1f ms\n", what, values.size(), rounds,
                percentile(values, 50), percentile(values, 95));
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 20;
    WidgetFactory factory;
    if (!factory.start()) {
        std::fprintf(stderr, "%s\n", qPrintable(factory.error()));
        return 1;
    }
    factory.activate();
    std::optional<WidgetFactory::Control> entry;
    for (const WidgetFactory::Control& control : factory.controls())
        if (!entry && control.role == QLatin1String("text") && control.text.isEmpty())
            entry = control;
    if (!entry)
        return 1;
    Guide guide;
    Recorder recorder(guide);
    recorder.start();
    idle(2000); // the focus events begin to flow
    QProcess::execute("xdotool", {"mousemove", QString::number(entry->extents.center().x()),
                                  QString::number(entry->extents.center().y()), "click", "1"});
    nextStep(guide, 0);
    idle(500);

    Keyboard keys;
    std::vector<double> shortcut, typing;
    for (int round = 0; round < rounds; ++round) {
        qsizetype before = guide.steps().size();
        const Clock::time_point pressed = keys.press({control, 'a'});
        if (const auto step = nextStep(guide, before))
            shortcut.push_back(std::chrono::duration<double, std::milli>(*step - pressed).count());
        idle(300);

        for (xcb_keysym_t letter : {'x', 'y', 'z'})
            keys.press({letter});
        idle(300);
        before = guide.steps().size();
        const Clock::time_point left = keys.press({tab});
        if (const auto step = nextStep(guide, before))
            typing.push_back(std::chrono::duration<double, std::milli>(*step - left).count());
        keys.press({shift, tab}); // back into the entry, its text selected
        idle(300);
    }
    recorder.stop();
    std::printf("%d rounds, 1920x1080, %s\n", rounds, qPrintable(guide.steps().last().title));
    report("key combination -> step", shortcut, rounds);
    report("focus out (Tab) -> typing step", typing, rounds);
    return 0;
}
