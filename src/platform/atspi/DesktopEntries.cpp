#include "platform/atspi/DesktopEntries.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSet>
#include <QStandardPaths>

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

DesktopEntries DesktopEntries::system() {
    QStringList folders = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    return DesktopEntries(folders);
}

void DesktopEntries::read(const QString& path, const QString& id) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    const QString locale = QLocale().name(); // "de_DE"
    const QString language = locale.section(QLatin1Char('_'), 0, 0);
    QHash<QString, QString> keys;
    bool inEntry = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inEntry = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inEntry || line.startsWith(QLatin1Char('#')))
            continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals <= 0)
            continue;
        keys.insert(line.left(equals).trimmed(), line.mid(equals + 1).trimmed());
    }
    if (keys.value(QStringLiteral("Type")) != QLatin1String("Application") ||
        keys.value(QStringLiteral("Hidden")) == QLatin1String("true"))
        return;
    QString name = keys.value(QStringLiteral("Name[%1]").arg(locale));
    if (name.isEmpty())
        name = keys.value(QStringLiteral("Name[%1]").arg(language));
    if (name.isEmpty())
        name = keys.value(QStringLiteral("Name"));
    if (name.isEmpty())
        return;
    m_names.insert(id, name);

    const QString wmClass = keys.value(QStringLiteral("StartupWMClass")).toLower();
    if (!wmClass.isEmpty())
        m_byWmClass.insert(wmClass, id);
    const QString lowerId = id.toLower();
    m_byId.insert(lowerId, id);
    const QString lastPart = lowerId.section(QLatin1Char('.'), -1);
    if (!m_byId.contains(lastPart))
        m_byId.insert(lastPart, id);
    QString program = programOf(keys.value(QStringLiteral("TryExec")));
    if (program.isEmpty())
        program = programOf(keys.value(QStringLiteral("Exec")));
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
