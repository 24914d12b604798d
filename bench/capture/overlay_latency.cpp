// Presses Ctrl+Alt+S through XTEST and times how long until the screen at a probe point changes
// (a capture overlay dims it), then dismisses the overlay with Escape. Repeats and prints the
// times in milliseconds with their median. Any program bound to the key can be timed this way.
//
//   overlay_latency [trials] [probe-x] [probe-y]
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Display {
    xcb_connection_t* conn = xcb_connect(nullptr, nullptr);
    xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(conn)).data->root;
    xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(conn);

    ~Display() {
        xcb_key_symbols_free(symbols);
        xcb_disconnect(conn);
    }

    unsigned pixel(int x, int y) const {
        xcb_get_image_reply_t* reply = xcb_get_image_reply(
            conn, xcb_get_image(conn, XCB_IMAGE_FORMAT_Z_PIXMAP, root, x, y, 1, 1, ~0u), nullptr);
        if (!reply)
            return 0;
        unsigned value = 0;
        const uint8_t* data = xcb_get_image_data(reply);
        for (int i = 0; i < 3; ++i)
            value |= unsigned(data[i]) << (8 * i);
        std::free(reply);
        return value;
    }

    void key(xcb_keysym_t keysym, bool press) const {
        xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, keysym);
        if (!codes)
            return;
        xcb_test_fake_input(conn, press ? XCB_KEY_PRESS : XCB_KEY_RELEASE, codes[0], XCB_CURRENT_TIME,
                            XCB_NONE, 0, 0, 0);
        std::free(codes);
    }

    void chord(std::initializer_list<xcb_keysym_t> keys) const {
        for (xcb_keysym_t k : keys)
            key(k, true);
        for (auto it = std::rbegin(keys); it != std::rend(keys); ++it)
            key(*it, false);
        xcb_flush(conn);
    }
};

constexpr xcb_keysym_t controlL = 0xffe3, altL = 0xffe9, letterS = 0x73, escape = 0xff1b;

bool waitUntil(const Display& display, int x, int y, bool changed, unsigned baseline, double timeoutMs) {
    const auto start = Clock::now();
    while (std::chrono::duration<double, std::milli>(Clock::now() - start).count() < timeoutMs) {
        if ((display.pixel(x, y) != baseline) == changed)
            return true;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const int trials = argc > 1 ? std::atoi(argv[1]) : 10;
    Display display;
    if (xcb_connection_has_error(display.conn)) {
        std::fprintf(stderr, "overlay_latency: cannot open the X display\n");
        return 1;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(display.conn)).data;
    const int x = argc > 2 ? std::atoi(argv[2]) : screen->width_in_pixels / 2;
    const int y = argc > 3 ? std::atoi(argv[3]) : screen->height_in_pixels / 2;

    std::vector<double> times;
    for (int trial = 0; trial < trials; ++trial) {
        const unsigned baseline = display.pixel(x, y);
        const auto start = Clock::now();
        display.chord({controlL, altL, letterS});
        if (!waitUntil(display, x, y, true, baseline, 5000)) {
            std::fprintf(stderr, "trial %d: no overlay within 5 s\n", trial + 1);
            return 2;
        }
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        times.push_back(ms);
        std::printf("trial %d: %.1f ms\n", trial + 1, ms);
        std::fflush(stdout);
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        display.chord({escape});
        if (!waitUntil(display, x, y, false, baseline, 5000)) {
            std::fprintf(stderr, "trial %d: the overlay did not go away on Escape\n", trial + 1);
            return 3;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
    }
    std::sort(times.begin(), times.end());
    std::printf("median %.1f ms, min %.1f ms, max %.1f ms over %zu presses\n", times[times.size() / 2],
                times.front(), times.back(), times.size());
    return 0;
}
