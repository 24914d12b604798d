#include "capture/Shutter.h"

#include <QThreadPool>

#include <canberra.h>

#include <mutex>

namespace trovix {

void playShutter() {
    // Opening the context may connect to the sound server, which can take a moment: not on the
    // main thread.
    QThreadPool::globalInstance()->start([] {
        static std::once_flag once;
        static ca_context* context = nullptr;
        std::call_once(once, [] {
            if (ca_context_create(&context) != CA_SUCCESS) {
                context = nullptr;
                return;
            }
            // Desktops play event sounds through their sound server; going to ALSA directly where
            // none runs would only fill the terminal with ALSA's complaints.
            ca_context_set_driver(context, "pulse");
            ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "Trovix", CA_PROP_APPLICATION_ID,
                                    "Trovix", nullptr);
        });
        if (context)
            ca_context_play(context, 0, CA_PROP_EVENT_ID, "camera-shutter", CA_PROP_EVENT_DESCRIPTION,
                            "Screenshot taken", nullptr);
    });
}

} // namespace trovix
