#pragma once

#include <QString>

namespace trovix::FileManager {

// Shows the file manager with `path` selected (org.freedesktop.FileManager1.ShowItems); where no
// file manager answers that, opens the folder that contains `path`. Returns at once.
void reveal(const QString& path);

// Opens the folder itself in the file manager (the desktop's handler for the folder).
void openFolder(const QString& path);

} // namespace trovix::FileManager
