#include "platform/atspi/DesktopEntries.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSet>

namespace trovix {

namespace {

// The program an Exec line starts, without folders, "env VAR=…" prefixes or arguments.
QString programOf(const QString& exec) {
    const QStringList words = exec.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    int i = 0;
    if (i < words.size() && QFileInfo(words[i]).fileName() == QLatin1String("env")) {
        ++i;
        while (i < words.size() && words[i].contains(QLatin1Char('=')))
            ++i;
    }
    if (i >= words.size())
        return {};
    QString program = words[i];
    program.remove(QLatin1Char('"'));
    return QFileInfo(program).fileName();
}

} // namespace

DesktopEntries::DesktopEntries(const QStringList& dataFolders) {
    const QString locale = QLocale().name(); // "de_DE"
    m_localeKey = QStringLiteral("Name[%1]").arg(locale).toUtf8();
    m_languageKey = QStringLiteral("Name[%1]").arg(locale.section(QLatin1Char('_'), 0, 0)).toUtf8();
    QSet<QString> seen;
    for (const QString& folder : dataFolders) {
        const QString applications = QDir(folder).filePath(QStringLiteral("applications"));
        QDirIterator it(applications, {QStringLiteral("*.desktop")}, QDir::Files,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            // Entries in subfolders take the folder names into their id: kde/foo.desktop is kde-foo.
            QString id = QDir(applications).relativeFilePath(path);
            id.chop(int(qstrlen(".desktop")));
            id.replace(QLatin1Char('/'), QLatin1Char('-'));
            // The first folder's entry wins, even a hidden one, which takes the application away.
            if (seen.contains(id))
                continue;
            seen.insert(id);
            read(path, id);
        }
    }
}

// Reads only the keys a name lookup needs, straight from the file's bytes: a full desktop has
// hundreds of entries, most of them lines of translations that no lookup reads.
void DesktopEntries::read(const QString& path, const QString& id) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray contents = file.read(maximumEntrySize);
    QByteArray type, hidden, name, localName, languageName, wmClass, tryExec, exec;
    bool inEntry = false;
    for (qsizetype start = 0; start < contents.size();) {
        qsizetype end = contents.indexOf('\n', start);
        if (end < 0)
            end = contents.size();
        const QByteArrayView line = QByteArrayView(contents).sliced(start, end - start).trimmed();
        start = end + 1;
        if (line.startsWith('[')) {
            inEntry = line == "[Desktop Entry]";
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        if (!inEntry || equals <= 0 || line.startsWith('#'))
            continue;
        const QByteArrayView key = line.first(equals).trimmed();
        const QByteArray value = line.sliced(equals + 1).trimmed().toByteArray();
        if (key.startsWith("Name")) {
            if (key == "Name")
                name = value;
            else if (key == m_localeKey)
                localName = value;
            else if (key == m_languageKey)
                languageName = value;
        } else if (key == "Type") {
            type = value;
        } else if (key == "Hidden") {
            hidden = value;
        } else if (key == "StartupWMClass") {
            wmClass = value;
        } else if (key == "TryExec") {
            tryExec = value;
        } else if (key == "Exec") {
            exec = value;
        }
    }
    if (type != "Application" || hidden == "true")
        return;
    const QByteArray& chosen = !localName.isEmpty()      ? localName
                               : !languageName.isEmpty() ? languageName
                                                         : name;
    if (chosen.isEmpty())
        return;
    m_names.insert(id, QString::fromUtf8(chosen));

    if (!wmClass.isEmpty())
        m_byWmClass.insert(QString::fromUtf8(wmClass).toLower(), id);
    const QString lowerId = id.toLower();
    m_byId.insert(lowerId, id);
    const QString lastPart = lowerId.section(QLatin1Char('.'), -1);
    if (!m_byId.contains(lastPart))
        m_byId.insert(lastPart, id);
    QString program = programOf(QString::fromUtf8(tryExec));
    if (program.isEmpty())
        program = programOf(QString::fromUtf8(exec));
    if (!program.isEmpty() && !m_byExecutable.contains(program))
        m_byExecutable.insert(program, id);
}

std::optional<QString> DesktopEntries::displayName(const QString& instance, const QString& className,
                                                   const QStringList& executables) const {
    for (const QString& key : {className.toLower(), instance.toLower()}) {
        if (const auto it = m_byWmClass.constFind(key); !key.isEmpty() && it != m_byWmClass.constEnd())
            return m_names.value(*it);
    }
    for (const QString& key : {instance.toLower(), className.toLower()}) {
        if (const auto it = m_byId.constFind(key); !key.isEmpty() && it != m_byId.constEnd())
            return m_names.value(*it);
    }
    for (const QString& executable : executables) {
        if (const auto it = m_byExecutable.constFind(executable); it != m_byExecutable.constEnd())
            return m_names.value(*it);
    }
    return std::nullopt;
}

QStringList executablesOf(uint pid) {
    QStringList names;
    const QString exe = QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget();
    if (!exe.isEmpty())
        names.append(QFileInfo(exe).fileName());
    QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(pid));
    if (cmdline.open(QIODevice::ReadOnly)) {
        const QString first =
            QFileInfo(QString::fromLocal8Bit(cmdline.read(4096).split('\0').value(0))).fileName();
        if (!first.isEmpty() && !names.contains(first))
            names.append(first);
    }
    return names;
}

} // namespace trovix
