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
// Why a file operation failed, from errno, as the end of a sentence: “there isn’t enough space on the
// disk”, “you don’t have permission”…
QString reason(int error);

// A file or folder could not be created, opened, read or written.
Error ioError(const QString& path, const QString& verb, int error);
// "guide.json" is not a valid guide record; detail says what is wrong with it.
Error decodingError(const QString& path, const QString& detail);

} // namespace trovix::StoreErrors
