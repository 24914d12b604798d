#include "export/ZipArchive.h"

#include "document/Error.h"
#include "export/OutputFile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <zip.h>

#include <algorithm>
#include <cstring>

namespace trovix {

struct ZipArchive::Entry {
    ZipArchive* archive;
    Maker make;
    QByteArray bytes;
    qint64 size = -1; // known once made
    qint64 position = 0;
    zip_error_t error;

    bool made() {
        if (size >= 0)
            return true;
        try {
            bytes = make();
            make = nullptr;
            size = bytes.size();
            return true;
        } catch (...) {
            if (!archive->m_failure)
                archive->m_failure = std::current_exception();
            zip_error_set(&error, ZIP_ER_INTERNAL, 0);
            return false;
        }
    }
};

namespace {

[[noreturn]] void fail(const QString& path, const QString& reason) {
    throw Error(Error::Code::io,
                QCoreApplication::translate("trovix::OutputFile", "Could not write %1").arg(quoted(path)) +
                    QStringLiteral(": ") + reason + QLatin1Char('.'),
                path);
}

// The entry's bytes for libzip, made on first demand (libzip asks for the size just before it reads
// them) and dropped once read.
zip_int64_t entrySource(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
    auto* entry = static_cast<ZipArchive::Entry*>(state);
    switch (command) {
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE,
                                              ZIP_SOURCE_STAT, ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    case ZIP_SOURCE_STAT: {
        if (!entry->made())
            return -1;
        auto* stat = static_cast<zip_stat_t*>(data);
        zip_stat_init(stat);
        stat->valid = ZIP_STAT_SIZE;
        stat->size = zip_uint64_t(entry->size);
        return sizeof(zip_stat_t);
    }
    case ZIP_SOURCE_OPEN:
        if (!entry->made())
            return -1;
        entry->position = 0;
        return 0;
    case ZIP_SOURCE_READ: {
        const qint64 n = std::min<qint64>(qint64(length), entry->bytes.size() - entry->position);
        if (n > 0)
            std::memcpy(data, entry->bytes.constData() + entry->position, size_t(n));
        entry->position += n;
        return n;
    }
    case ZIP_SOURCE_CLOSE:
        entry->bytes = QByteArray();
        return 0;
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&entry->error, data, length);
    case ZIP_SOURCE_FREE:
        return 0; // the archive owns its entries
    default:
        zip_error_set(&entry->error, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
}

} // namespace

ZipArchive::ZipArchive(const QString& path)
    : m_path(path) {
    // libzip touches the disk only when the archive is written; trying the place now tells the user
    // at once, in the words every export uses, why it cannot be written.
    { OutputFile probe(path); }
    int code = 0;
    m_zip = zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    if (!m_zip) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        const QString reason = QString::fromLocal8Bit(zip_error_strerror(&error));
        zip_error_fini(&error);
        fail(path, reason);
    }
}

ZipArchive::~ZipArchive() {
    if (m_zip)
        zip_discard(m_zip);
    for (Entry& entry : m_entries)
        zip_error_fini(&entry.error);
}

void ZipArchive::add(const QString& name, const QByteArray& bytes, Compression compression) {
    addLater(
        name, [bytes] { return bytes; }, compression);
}

void ZipArchive::addLater(const QString& name, Maker make, Compression compression) {
    Entry& entry = m_entries.emplace_back();
    entry.archive = this;
    entry.make = std::move(make);
    zip_error_init(&entry.error);
    zip_source_t* source = zip_source_function(m_zip, entrySource, &entry);
    const QByteArray utf8 = name.toUtf8();
    const zip_int64_t index = source ? zip_file_add(m_zip, utf8.constData(), source, ZIP_FL_OVERWRITE) : -1;
    if (index < 0) {
        if (source)
            zip_source_free(source);
        fail(m_path, QString::fromLocal8Bit(zip_strerror(m_zip)));
    }
    zip_set_file_compression(m_zip, zip_uint64_t(index),
                             compression == Compression::store ? ZIP_CM_STORE : ZIP_CM_DEFLATE, 0);
}

qint64 ZipArchive::commit() {
    if (zip_close(m_zip) != 0) {
        const QString reason = QString::fromLocal8Bit(zip_strerror(m_zip));
        zip_discard(m_zip); // also removes the temporary file
        m_zip = nullptr;
        if (m_failure)
            std::rethrow_exception(m_failure);
        fail(m_path, reason);
    }
    m_zip = nullptr;
    return QFileInfo(m_path).size();
}

} // namespace trovix
