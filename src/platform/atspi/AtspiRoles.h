#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace trovix {

// Maps accessibility roles onto the role names the click description knows ("AXButton", "AXTextField",
// …). Roles that are not clicked on purpose get a name outside that set ("AXGroup", "AXWindow", …).
class AtspiRoles {
public:
    // What a few roles need to know beyond the role itself; each is asked only when needed.
    struct Facts {
        std::function<quint64()> states;                 // state bits, 0 when unknown
        std::function<std::optional<uint>()> parentRole; // none when unknown
        std::function<bool()> hasEditableTextChild;
    };

    static QString name(uint role, const Facts& facts);
};

} // namespace trovix
