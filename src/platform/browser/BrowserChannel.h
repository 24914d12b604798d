#pragma once

#include <QString>

namespace trovix::BrowserChannel {

// The local socket the running Trovix listens on for browser hosts: in the user's runtime folder
// (XDG_RUNTIME_DIR), inside a folder only the user can enter.
QString socketPath();
// Makes the socket's folder, readable by the user alone; false when it cannot be made private.
bool preparePrivateFolder(QString* error = nullptr);

} // namespace trovix::BrowserChannel
