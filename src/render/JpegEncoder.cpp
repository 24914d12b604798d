#include "render/JpegEncoder.h"

#include <QSysInfo>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio> // jpeglib.h needs FILE
#include <cstdlib>

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

// Everything that must survive a longjmp out of libjpeg lives here, behind a pointer that is never
// changed after setjmp.
struct Job {
    QImage image;
    int quality = 85;
    jpeg_compress_struct info{};
    ErrorManager errors{};
    unsigned char* out = nullptr;
    unsigned long size = 0;
};

bool run(Job* job) {
    if (setjmp(job->errors.jump))
        return false;
    jpeg_create_compress(&job->info);
    jpeg_mem_dest(&job->info, &job->out, &job->size);
    job->info.image_width = JDIMENSION(job->image.width());
    job->info.image_height = JDIMENSION(job->image.height());
    job->info.input_components = 4;
    // A QImage pixel is one 32-bit word 0xAARRGGBB in native byte order.
    job->info.in_color_space = QSysInfo::ByteOrder == QSysInfo::LittleEndian ? JCS_EXT_BGRX : JCS_EXT_XRGB;
    jpeg_set_defaults(&job->info);
    jpeg_set_quality(&job->info, job->quality, TRUE);
    if (job->image.dotsPerMeterX() > 0 && job->image.dotsPerMeterY() > 0) {
        job->info.density_unit = 1; // dots per inch
        job->info.X_density = UINT16(std::lround(job->image.dotsPerMeterX() * 0.0254));
        job->info.Y_density = UINT16(std::lround(job->image.dotsPerMeterY() * 0.0254));
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
    job.info.err = jpeg_std_error(&job.errors.base);
    job.errors.base.error_exit = onError;
    job.errors.base.output_message = onMessage;
    const bool ok = run(&job);
    jpeg_destroy_compress(&job.info);
    QByteArray bytes = ok ? QByteArray(reinterpret_cast<const char*>(job.out), qsizetype(job.size))
                          : QByteArray();
    std::free(job.out);
    return bytes;
}

} // namespace trovix::JpegEncoder
