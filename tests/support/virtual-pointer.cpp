// A pointer for a headless wlroots compositor, through its virtual-pointer protocol: without any
// pointer device the seat offers clients no pointer at all, and the compositor's own cursor commands
// (swaymsg seat - cursor …) move no drag along. Reads commands, one a line, from standard input:
//     move X Y WIDTH HEIGHT   the pointer to X, Y of a layout WIDTH × HEIGHT
//     press | release         the left button
#include <wayland-client.h>

#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

// The protocol's interfaces, as far as used; requests in the protocol's order and signatures.
const wl_message pointerRequests[] = {
    {"motion", "uff", nullptr}, {"motion_absolute", "uuuuu", nullptr},
    {"button", "uuu", nullptr}, {"axis", "uuf", nullptr},
    {"frame", "", nullptr},
};
const wl_interface pointerInterface = {"zwlr_virtual_pointer_v1", 1, 5, pointerRequests, 0, nullptr};
const wl_interface* createTypes[] = {&wl_seat_interface, &pointerInterface};
const wl_message managerRequests[] = {{"create_virtual_pointer", "?on", createTypes}};
const wl_interface managerInterface = {"zwlr_virtual_pointer_manager_v1", 1, 1, managerRequests, 0, nullptr};
enum Request : uint32_t { motion, motionAbsolute, button, axis, frame };
constexpr uint32_t leftButton = 0x110; // BTN_LEFT

wl_proxy* manager = nullptr;

void global(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t) {
    if (std::strcmp(interface, managerInterface.name) == 0)
        manager = static_cast<wl_proxy*>(wl_registry_bind(registry, name, &managerInterface, 1));
}

void globalRemove(void*, wl_registry*, uint32_t) {}

const wl_registry_listener listener = {global, globalRemove};

uint32_t now() {
    using namespace std::chrono;
    return uint32_t(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

} // namespace

int main() {
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        std::fprintf(stderr, "virtual-pointer: no Wayland display\n");
        return 1;
    }
    wl_registry_add_listener(wl_display_get_registry(display), &listener, nullptr);
    wl_display_roundtrip(display);
    if (!manager) {
        std::fprintf(stderr, "virtual-pointer: the compositor has no virtual pointers\n");
        return 1;
    }
    wl_proxy* pointer = wl_proxy_marshal_constructor(manager, 0, &pointerInterface, nullptr, nullptr);
    wl_display_roundtrip(display);
    char line[256];
    while (std::fgets(line, sizeof line, stdin)) {
        unsigned x, y, width, height;
        if (std::sscanf(line, "move %u %u %u %u", &x, &y, &width, &height) == 4)
            wl_proxy_marshal(pointer, motionAbsolute, now(), x, y, width, height);
        else if (std::strncmp(line, "press", 5) == 0 || std::strncmp(line, "release", 7) == 0)
            wl_proxy_marshal(pointer, button, now(), leftButton, line[0] == 'p' ? 1u : 0u);
        else
            continue;
        wl_proxy_marshal(pointer, frame);
        if (wl_display_roundtrip(display) == -1)
            return 1;
    }
    return 0;
}
