#pragma once

#include <QByteArray>
#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QString>

#include <functional>
#include <optional>

namespace trovix {

// The messages between the browser extension, its native messaging host and Trovix. Each travels as
// a 4-byte length in the machine's byte order and that many bytes of UTF-8 JSON (the browsers'
// native messaging framing, used on the local channel to Trovix as well).
namespace PageMessage {

// The largest message taken: a 4K tab's PNG in base64 fits with room to spare; anything larger is
// refused unread.
inline constexpr qint64 maxBytes = 64 * 1024 * 1024;
// The largest side of a tab picture taken.
inline constexpr int maxPictureSide = 16384;
// The most characters of a text field's text kept (UTF-16 units).
inline constexpr qsizetype maxTypedText = 100000;

enum class Type {
    hello,     // a browser's extension introduces itself
    press,     // a trusted left press in a page, or typing ending there; its click follows
    click,     // the press's picture and description
    lost,      // the press's click will not come (the picture could not be taken)
    recording, // Trovix starts or stops recording
};

// The end of typing into a page's text field.
struct Typing {
    bool password = false;
    // What the field holds; never given for a password field.
    std::optional<QString> text;
};

struct Message {
    Type type = Type::hello;
    // The press a press, click or lost message belongs to.
    qint64 id = 0;
    // hello: the browser's name.
    QString browser;
    // recording: whether Trovix records.
    bool on = false;
    // press: the end of typing into a field, which no desktop sees as a click.
    bool typing = false;
    // click: for the end of typing, the field's kind and text (the rest describes the field).
    std::optional<Typing> typed;
    // click: the page's title, the control's label (may be empty), the press in top-viewport CSS
    // pixels, picture pixels per CSS pixel, the control's rectangle when it has a useful one.
    QString page;
    QString label;
    QPointF position;
    double scale = 1;
    std::optional<QRectF> frame;
    // click: the page's visible password fields, top-viewport CSS pixels, cut to the picture.
    QList<QRectF> passwordFields;
    // click: the tab's picture, PNG bytes, and the size its header gives.
    QByteArray png;
    QSize pictureSize;
};

struct Parsed {
    std::optional<Message> message;
    // Why the message was refused; empty when it was taken.
    QString error;
    // The id the message carried, when it was readable even though the message was refused.
    std::optional<qint64> id;
};

// Reads one message's JSON text and checks it whole: known type, fields of the right kinds, a click's
// picture a PNG whose header gives a sane size, and its point and rectangle inside that picture.
Parsed parse(const QByteArray& json);

// The size a PNG's header gives; nothing when the bytes are not a PNG.
std::optional<QSize> pngSize(const QByteArray& png);

// Frames one message for the wire.
QByteArray frame(const QByteArray& json);
// The 4 bytes that go in front of a message of `size` bytes.
QByteArray lengthPrefix(qsizetype size);

// Cuts a byte stream into messages. Feed it what arrives; take the messages it completes. A message
// announced larger than maxBytes is skipped as it streams past, without being kept, and reported once.
class FrameReader {
public:
    void append(const QByteArray& bytes);
    // The next whole message, or nothing until more bytes arrive. Sets `error` (and returns
    // nothing) once for each message skipped for its size.
    std::optional<QByteArray> next(QString* error = nullptr);
    // Hands on every whole message, and the reason for every one skipped, in stream order.
    void takeAll(const std::function<void(QByteArray)>& message, const std::function<void(QString)>& refused);

private:
    QByteArray m_buffer;
    qint64 m_skip = 0;
    bool m_skipReported = true;
};

} // namespace PageMessage

} // namespace trovix
