// The browser host's message reader: the byte stream a browser writes on the host's stdin, cut into
// messages and each message checked.
//
// Promises checked: the reader never crashes, hangs or keeps a message larger than the limit; the
// first input byte chooses where the stream is cut, and every cutting gives the same messages and
// refusals; a message that is taken has a picture whose header size is within the limits and a
// point and a rectangle inside that picture, and a refused one says why.
#include "FuzzSupport.h"

#include "platform/browser/PageMessage.h"

#include <QList>

using namespace trovix;

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::startQt(argc, argv);
    return 0;
}

namespace {

struct Outcome {
    QList<QByteArray> messages;
    int oversized = 0;
};

Outcome read(const QByteArray& stream, qsizetype piece) {
    PageMessage::FrameReader reader;
    Outcome outcome;
    for (qsizetype at = 0; at < stream.size(); at += piece) {
        reader.append(stream.mid(at, piece));
        reader.takeAll(
            [&outcome](const QByteArray& message) {
                if (message.size() > PageMessage::maxBytes)
                    fuzz::broken("the reader kept a message over the limit");
                outcome.messages.append(message);
            },
            [&outcome](const QString&) { ++outcome.oversized; });
    }
    return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t length) {
    if (length == 0)
        return 0;
    const qsizetype piece = 1 + data[0] % 7;
    const QByteArray stream = fuzz::bytesOf(data + 1, length - 1);
    const Outcome whole = read(stream, std::max<qsizetype>(1, stream.size()));
    const Outcome cut = read(stream, piece);
    if (whole.messages != cut.messages || whole.oversized != cut.oversized)
        fuzz::broken("cutting the stream elsewhere changed its messages");

    // The messages alone too, so that mutations reach the checks without a valid length in front.
    QList<QByteArray> messages = whole.messages;
    messages.append(stream);
    for (const QByteArray& json : messages) {
        const PageMessage::Parsed parsed = PageMessage::parse(json);
        if (!parsed.message) {
            if (parsed.error.isEmpty())
                fuzz::broken("a refusal without a reason");
            continue;
        }
        const PageMessage::Message& message = *parsed.message;
        if (message.type != PageMessage::Type::click)
            continue;
        const QSize size = message.pictureSize;
        if (PageMessage::pngSize(message.png) != size || size.isEmpty() ||
            size.width() > PageMessage::maxPictureSide || size.height() > PageMessage::maxPictureSide)
            fuzz::broken("a click was taken with a picture of an impossible size");
        const QRectF picture(QPointF(-1, -1), QSizeF(size) + QSizeF(2, 2));
        if (!picture.contains(message.position * message.scale))
            fuzz::broken("a click was taken outside its picture");
        if (message.frame && !picture.contains(QRectF(message.frame->topLeft() * message.scale,
                                                      message.frame->size() * message.scale)))
            fuzz::broken("a control's rectangle was taken outside the picture");
    }
    return 0;
}
