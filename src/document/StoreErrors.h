#pragma once

#include "document/Error.h"

#include <QString>

// The sentences guide-folder errors are made of. Each names the file and the folder it lies in, so the
// user can tell which of several guides failed and why.
namespace trovix::StoreErrors {

// “name”, with typographic quotation marks.
QString quoted(const QString& text);
// “guide.json” in “Demo.trovix”
QString fileInFolder(const QString& path);
// Why a file operation failed, from errno or one of SafeFile's refusals, as the end of a sentence:
// “there isn’t enough space on the disk”, “it is not a regular file”… `limit` is the size a file
// that was too large went past.
QString reason(int error, qint64 limit = 0);

// A file or folder could not be created, opened, read or written.
Error ioError(const QString& path, const QString& verb, int error, qint64 limit = 0);
// "guide.json" is not a valid guide record; detail says what is wrong with it.
Error decodingError(const QString& path, const QString& detail);

} // namespace trovix::StoreErrors
