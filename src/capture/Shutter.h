#pragma once

namespace trovix {

// The short sound that confirms a capture: the freedesktop event sound "camera-shutter". Best
// effort: silent where no sound server or theme is installed. Never blocks the caller.
void playShutter();

} // namespace trovix
