#include "render/JpegEncoder.h"

#include <QSysInfo>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio> // jpeglib.h needs FILE
#include <new>

#include <jpeglib.h>

namespace trovix::JpegEncoder {

namespace {

// libjpeg's default error handler exits the process; this one jumps back to encode().
struct ErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf jump;
};

[[noreturn]] void onError(j_common_ptr info) {
    std::longjmp(reinterpret_cast<ErrorManager*>(info->err)->jump, 1);
}

void onMessage(j_common_ptr) {}

// The file goes straight into a byte array that this code owns, whatever libjpeg does: a failure
// part-way leaves nothing for two owners to free.
struct Destination {
    jpeg_destination_mgr base;
    QByteArray bytes;
};

Destination* destinationOf(j_compress_ptr info) {
    return reinterpret_cast<Destination*>(info->dest);
}

void startBuffer(j_compress_ptr info) {
    Destination* d = destinationOf(info);
    d->base.next_output_byte = reinterpret_cast<JOCTET*>(d->bytes.data());
    d->base.free_in_buffer = size_t(d->bytes.size());
}

boolean growBuffer(j_compress_ptr info) {
    Destination* d = destinationOf(info);
    const qsizetype used = d->bytes.size();
    bool grown = true;
    try {
        d->bytes.resize(used * 2);
    } catch (const std::bad_alloc&) {
        grown = false;
    }
    // Outside the handler: the error handler jumps out of this frame, back to encode().
    if (!grown)
        onError(reinterpret_cast<j_common_ptr>(info));
    d->base.next_output_byte = reinterpret_cast<JOCTET*>(d->bytes.data()) + used;
    d->base.free_in_buffer = size_t(d->bytes.size() - used);
    return TRUE;
}

void endBuffer(j_compress_ptr info) {
    Destination* d = destinationOf(info);
    d->bytes.truncate(d->bytes.size() - qsizetype(d->base.free_in_buffer));
}

// Dots per metre as JFIF's whole dots per inch.
UINT16 dotsPerInch(int dotsPerMetre) {
    return UINT16(std::clamp(std::lround(dotsPerMetre * 0.0254), 1L, 65535L));
}

// Everything that must survive a longjmp out of libjpeg lives here, behind a pointer that is never
// changed after setjmp.
struct Job {
    QImage image;
    int quality = 85;
    jpeg_compress_struct info{};
    ErrorManager errors{};
    Destination destination{};
};

bool run(Job* job) {
    if (setjmp(job->errors.jump))
        return false;
    jpeg_create_compress(&job->info);
    job->info.dest = &job->destination.base;
    job->info.image_width = JDIMENSION(job->image.width());
    job->info.image_height = JDIMENSION(job->image.height());
    job->info.input_components = 4;
    // A QImage pixel is one 32-bit word 0xAARRGGBB in native byte order.
    job->info.in_color_space = QSysInfo::ByteOrder == QSysInfo::LittleEndian ? JCS_EXT_BGRX : JCS_EXT_XRGB;
    jpeg_set_defaults(&job->info);
    jpeg_set_quality(&job->info, job->quality, TRUE);
    if (job->image.dotsPerMeterX() > 0 && job->image.dotsPerMeterY() > 0) {
        job->info.density_unit = 1; // dots per inch
        job->info.X_density = dotsPerInch(job->image.dotsPerMeterX());
        job->info.Y_density = dotsPerInch(job->image.dotsPerMeterY());
    }
    jpeg_start_compress(&job->info, TRUE);
    while (job->info.next_scanline < job->info.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(job->image.constScanLine(int(job->info.next_scanline)));
        jpeg_write_scanlines(&job->info, &row, 1);
    }
    jpeg_finish_compress(&job->info);
    return true;
}

} // namespace

QByteArray encode(const QImage& image, int quality) {
    if (image.isNull())
        return {};
    Job job;
    job.quality = std::clamp(quality, 0, 100);
    job.image = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32 ||
                        image.format() == QImage::Format_ARGB32_Premultiplied
                    ? image
                    : image.convertToFormat(QImage::Format_RGB32);
    if (job.image.isNull())
        return {};
    // A screenshot's JPEG is roughly a twentieth of its pixels; the buffer doubles when it is not.
    job.destination.bytes.resize(std::max<qsizetype>(64 * 1024, job.image.sizeInBytes() / 16));
    job.destination.base.init_destination = startBuffer;
    job.destination.base.empty_output_buffer = growBuffer;
    job.destination.base.term_destination = endBuffer;
    job.info.err = jpeg_std_error(&job.errors.base);
    job.errors.base.error_exit = onError;
    job.errors.base.output_message = onMessage;
    const bool ok = run(&job);
    jpeg_destroy_compress(&job.info);
    return ok ? job.destination.bytes : QByteArray();
}

} // namespace trovix::JpegEncoder
