#pragma once

#include <QByteArray>
#include <QSaveFile>
#include <QString>

namespace trovix {

// A file written atomically: its contents appear under its name only when commit() succeeds; until
// then an existing file of that name is untouched. Every failure throws trovix::Error naming the file.
class OutputFile {
public:
    explicit OutputFile(const QString& path);
    ~OutputFile(); // discards what was written unless committed

    void write(const char* data, qint64 size);
    void write(const QByteArray& bytes) { write(bytes.constData(), bytes.size()); }
    // Moves the new contents into place; returns the file's size.
    qint64 commit();

    const QString& path() const { return m_path; }

    // Writes `bytes` to `path` in place (not atomically), replacing an existing file.
    static qint64 writeWhole(const QString& path, const QByteArray& bytes);
    // Creates `folder` with every missing parent.
    static void makeFolder(const QString& folder);

private:
    QString m_path;
    QSaveFile m_file;
    bool m_committed = false;
};

// “path”, for messages.
QString quoted(const QString& path);

} // namespace trovix
