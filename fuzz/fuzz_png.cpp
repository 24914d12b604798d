// The PNG structure check, and the decoder behind a step picture that passed it.
//
// Promises checked: the check never crashes or reads outside the bytes; a passing file has a size
// within the limits that matches its header; decoding gives that size or nothing, and a step picture
// always shows that size (a placeholder when the pixels are broken); what the decoder gives back
// encodes to a PNG that passes the check and decodes to the same pixels, and shrinking it while
// decoding gives what decoding and then shrinking gives.
#include "FuzzSupport.h"

#include "render/Image.h"
#include "render/ImageCodec.h"
#include "render/ImageOps.h"

#include <QImage>

using namespace trovix;

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::startQt(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t length) {
    const QByteArray bytes = fuzz::bytesOf(data, length);
    const ImageCodec::PngCheck check = ImageCodec::checkPng(bytes);

    if (!check.ok()) {
        // Unchecked bytes still reach the decoder (the library's thumbnails); it must fail cleanly.
        const QImage decoded = ImageCodec::decode(bytes);
        if (!decoded.isNull() &&
            (decoded.width() > ImageCodec::maxSide || decoded.height() > ImageCodec::maxSide ||
             qint64(decoded.width()) * decoded.height() > ImageCodec::maxPixels))
            fuzz::broken("the decoder gave a picture beyond the limits");
        return 0;
    }

    const QSize size = check.size;
    if (size.isEmpty() || size.width() > ImageCodec::maxSide || size.height() > ImageCodec::maxSide ||
        qint64(size.width()) * size.height() > ImageCodec::maxPixels)
        fuzz::broken("a passing file has an impossible size");
    if (ImageCodec::pngSize(bytes) != size)
        fuzz::broken("the check and the header disagree about the size");

    const QImage decoded = ImageCodec::decode(bytes);
    if (!decoded.isNull()) {
        if (decoded.size() != size)
            fuzz::broken("the decoded size differs from the header");
        if (decoded.format() != QImage::Format_ARGB32_Premultiplied)
            fuzz::broken("the decoder gave another format");
        // Round trip through the encoder, for pictures small enough to keep the fuzzer fast.
        if (qint64(size.width()) * size.height() <= 512 * 512) {
            const QByteArray again = ImageCodec::encodePng(decoded);
            const ImageCodec::PngCheck recheck = ImageCodec::checkPng(again);
            if (!recheck.ok())
                fuzz::broken("an encoded picture fails the check", recheck.problem);
            if (ImageCodec::decode(again) != decoded)
                fuzz::broken("an encoded picture decodes to other pixels");
        }
        // A stored picture shrunk while it is decoded (exports, thumbnails) is the decoded
        // picture shrunk.
        if (scaledDown(Image::fromPng(bytes, size), 97.0) != scaledDown(decoded, 97.0))
            fuzz::broken("shrinking while decoding gives other pixels than decoding, then shrinking");
    }

    // A step picture whose pixels are broken shows a placeholder of the promised size. (One that
    // decodes shows what the decoder gave, checked above.)
    if (decoded.isNull() && Image::fromPng(bytes, size).pixels().size() != size)
        fuzz::broken("a broken step picture shows another size than its header");
    return 0;
}
