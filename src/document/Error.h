#pragma once

#include <QString>

#include <exception>

namespace trovix {

// The error thrown by operations that can fail. `message` is a complete sentence for the user that
// names what failed and on which file; `path` is that file.
class Error : public std::exception {
public:
    enum class Code {
        io,               // a file or folder could not be created, read or written
        writeUnknown,     // data could not be encoded for writing (e.g. an image or a non-finite number)
        corruptFile,      // a file exists but its contents are damaged or missing parts
        decoding,         // guide.json is not a valid guide record
        noDisplay,        // a screen is gone
        permissionDenied, // the desktop refused to let us see the screen (or offers no way to)
        serviceFailed,    // a desktop service failed or did not answer in time
    };

    Error(Code code, QString message, QString path = {})
        : m_code(code)
        , m_message(std::move(message))
        , m_path(std::move(path))
        , m_utf8(m_message.toUtf8()) {}

    Code code() const { return m_code; }
    const QString& message() const { return m_message; }
    const QString& path() const { return m_path; }
    const char* what() const noexcept override { return m_utf8.constData(); }

private:
    Code m_code;
    QString m_message;
    QString m_path;
    QByteArray m_utf8;
};

} // namespace trovix
