#pragma once

#include <QByteArray>
#include <QString>

#include <exception>
#include <functional>
#include <list>

typedef struct zip zip_t;

namespace trovix {

// A ZIP archive written with libzip. Entries are written in the order they are added, and an entry's
// bytes are made only when the archive is written and released as soon as they are in the file: an
// archive of large pictures holds one of them at a time.
//
// Nothing appears under the archive's name until commit() succeeds (libzip writes a temporary file
// beside it and renames it); a failed or abandoned archive leaves no file and an existing file of
// that name as it was. Every failure throws trovix::Error naming the file.
class ZipArchive {
public:
    enum class Compression { store, deflate };
    using Maker = std::function<QByteArray()>;

    explicit ZipArchive(const QString& path);
    ~ZipArchive();
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    void add(const QString& name, const QByteArray& bytes, Compression compression = Compression::deflate);
    // `make` runs while commit() writes the archive, after every entry added before this one has
    // been written. What it throws ends the export and comes out of commit().
    void addLater(const QString& name, Maker make, Compression compression = Compression::deflate);

    // Writes the archive and moves it into place; returns its size in bytes.
    qint64 commit();

    const QString& path() const { return m_path; }

    struct Entry;

private:
    QString m_path;
    zip_t* m_zip = nullptr;
    std::list<Entry> m_entries;
    std::exception_ptr m_failure;
};

} // namespace trovix
