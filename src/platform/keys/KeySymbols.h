#pragma once

#include <cstdint>

namespace trovix::KeySymbols {

// The Qt key of an X keysym (letters as their upper case), 0 for modifier keys and keysyms that
// name no key Qt knows. X11 and Wayland compositors name keys alike.
int qtKey(std::uint32_t keysym);

} // namespace trovix::KeySymbols
