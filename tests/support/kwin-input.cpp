// A pointer for a headless KWin, through its fake-input protocol, which KWin offers only to a program
// whose desktop entry names it (with-kwin.sh writes one). Reads commands, one a line, from standard
// input, like gnome-input.cpp:
//     move X Y        the pointer to X, Y of the desktop
//     press | release the left button
//     key ff1b        presses and releases Escape (the one key the tests and benchmarks need)
//     wait MS         lets KWin take the input so far before the next line
// Writes "ready" to standard output once input can be sent.
#include <wayland-client.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

namespace {

// The protocol's interface, as far as used: requests in the protocol's order and signatures.
const wl_message requests[] = {
    {"authenticate", "ss", nullptr},  {"pointer_motion", "ff", nullptr},
    {"button", "uu", nullptr},        {"axis", "uf", nullptr},
    {"touch_down", "2uff", nullptr},  {"touch_motion", "2uff", nullptr},
    {"touch_up", "2u", nullptr},      {"touch_cancel", "2", nullptr},
    {"touch_frame", "2", nullptr},    {"pointer_motion_absolute", "3ff", nullptr},
    {"keyboard_key", "4uu", nullptr},
};
const wl_interface fakeInputInterface = {"org_kde_kwin_fake_input", 4, 11, requests, 0, nullptr};
enum Request : uint32_t { authenticate, button = 2, motionAbsolute = 9, keyboardKey = 10 };
constexpr uint32_t escapeKey = 1;      // KEY_ESC
constexpr uint32_t leftButton = 0x110; // BTN_LEFT

wl_proxy* fakeInput = nullptr;

void global(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
    if (std::strcmp(interface, fakeInputInterface.name) == 0 && version >= 3)
        fakeInput = static_cast<wl_proxy*>(
            wl_registry_bind(registry, name, &fakeInputInterface, std::min(version, 4u)));
}

void globalRemove(void*, wl_registry*, uint32_t) {}

const wl_registry_listener listener = {global, globalRemove};

} // namespace

int main() {
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        std::fprintf(stderr, "kwin-input: no Wayland display\n");
        return 1;
    }
    wl_registry_add_listener(wl_display_get_registry(display), &listener, nullptr);
    wl_display_roundtrip(display);
    if (!fakeInput) {
        std::fprintf(stderr, "kwin-input: KWin offers no fake input (is the desktop entry in place?)\n");
        return 1;
    }
    wl_proxy_marshal(fakeInput, authenticate, "Trovix tests", "clicks for the tests");
    wl_display_roundtrip(display);
    std::printf("ready\n");
    std::fflush(stdout);
    char line[256];
    while (std::fgets(line, sizeof line, stdin)) {
        int x = 0, y = 0, ms = 0;
        if (std::sscanf(line, "move %d %d", &x, &y) == 2)
            wl_proxy_marshal(fakeInput, motionAbsolute, wl_fixed_from_int(x), wl_fixed_from_int(y));
        else if (std::strncmp(line, "press", 5) == 0 || std::strncmp(line, "release", 7) == 0)
            wl_proxy_marshal(fakeInput, button, leftButton, line[0] == 'p' ? 1u : 0u);
        else if (std::strncmp(line, "key ff1b", 8) == 0 && wl_proxy_get_version(fakeInput) >= 4) {
            wl_proxy_marshal(fakeInput, keyboardKey, escapeKey, 1u);
            wl_proxy_marshal(fakeInput, keyboardKey, escapeKey, 0u);
        } else if (std::sscanf(line, "wait %d", &ms) == 1)
            std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        if (wl_display_flush(display) < 0 || wl_display_roundtrip(display) < 0) {
            std::fprintf(stderr, "kwin-input: the compositor went away\n");
            return 1;
        }
    }
    return 0;
}
