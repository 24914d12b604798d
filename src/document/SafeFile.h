#pragma once

#include <QByteArray>
#include <QString>

// Whole-file reads and crash-safe writes for guide folders. Each returns 0 on success or the errno
// of the failed operation, so callers can say why in their own words.
namespace trovix::SafeFile {

// Writes the bytes to `temporary` (a name in the same folder), flushes them to the disk and renames
// the file onto `path`. Whoever reads `path`, at any moment and after any crash, sees either the old
// content or the new one, never a part. A failed write removes the temporary file.
int replace(const QString& path, const QByteArray& bytes, const QString& temporary);

// Reads the whole file.
int read(const QString& path, QByteArray& bytes);

// Removes a file (not a folder). Removing a missing file succeeds.
int remove(const QString& path);

} // namespace trovix::SafeFile
