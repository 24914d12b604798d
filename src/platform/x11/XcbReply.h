#pragma once

#include <cstdlib>
#include <memory>

namespace trovix {

// Owns a reply (or event) that xcb allocated with malloc.
struct XcbFree {
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using Reply = std::unique_ptr<T, XcbFree>;

} // namespace trovix
