// Reading a guide folder made from the fuzzer's bytes.
//
// The input is split at every "--FILE--" into at most five files: the first is "guide.json", the
// following ones are the step pictures, named after the ids of the steps that "guide.json" holds (so
// that the reader gets past the record into the pictures), and one more after those is
// "thumbnail.jpg". They are written into a fresh folder on tmpfs, read with GuideStore::read, and when
// that succeeds every step's base and rendered picture is made once; the library summary of the same
// folder is taken either way.
//
// Promises checked: reading either succeeds or throws trovix::Error with a readable message and the
// file it names (anything else thrown, or a crash, is a finding); every picture of a guide that was
// read has the size its header gave, within the limits; a folder that reads has a summary that
// agrees with it.
#include "FuzzSupport.h"

#include "document/Error.h"
#include "document/GuideStore.h"
#include "document/Step.h"
#include "render/ImageCodec.h"

#include <QByteArrayView>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include <cstdio>
#include <cstdlib>
#include <optional>

using namespace trovix;

namespace {

constexpr QByteArrayView separator("--FILE--");
constexpr int maxFiles = 5;

QString folder;
QStringList written;
// TROVIX_FUZZ_VERBOSE=1 says how each read ended, to see how far an input gets.
const bool verbose = qEnvironmentVariableIntValue("TROVIX_FUZZ_VERBOSE") != 0;

void removeFolder() {
    if (!folder.isEmpty())
        QDir(folder).removeRecursively();
}

QList<QByteArray> split(const QByteArray& bytes) {
    QList<QByteArray> parts;
    qsizetype from = 0;
    while (parts.size() < maxFiles - 1) {
        const qsizetype at = bytes.indexOf(separator, from);
        if (at < 0)
            break;
        parts.append(bytes.mid(from, at - from));
        from = at + separator.size();
    }
    parts.append(bytes.mid(from));
    return parts;
}

// The picture names the reader will look for, taken leniently from whatever "guide.json" holds.
QStringList pictureNames(const QByteArray& json) {
    QStringList names;
    const QJsonArray steps = QJsonDocument::fromJson(json).object().value(QLatin1String("steps")).toArray();
    for (const QJsonValue& step : steps) {
        const QUuid id(step.toObject().value(QLatin1String("id")).toString());
        if (!id.isNull())
            names.append(uuidString(id) + QStringLiteral(".png"));
    }
    return names;
}

bool withinLimits(QSize size) {
    return !size.isEmpty() && size.width() <= ImageCodec::maxSide && size.height() <= ImageCodec::maxSide &&
           qint64(size.width()) * size.height() <= ImageCodec::maxPixels;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzz::startQt(argc, argv);
    QByteArray pattern = QFileInfo(QStringLiteral("/dev/shm")).isDir() ? "/dev/shm/trovix-fuzz-XXXXXX"
                                                                       : "/tmp/trovix-fuzz-XXXXXX";
    if (!mkdtemp(pattern.data()))
        fuzz::broken("no temporary folder");
    folder = QString::fromLocal8Bit(pattern) + QStringLiteral("/Fuzzed.trovix");
    if (!QDir().mkpath(folder))
        fuzz::broken("no temporary folder");
    folder = QDir(folder).absolutePath();
    std::atexit([] {
        removeFolder();
        QDir().rmdir(QFileInfo(folder).path());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t length) {
    for (const QString& name : std::as_const(written))
        QFile::remove(QDir(folder).filePath(name));
    written.clear();

    const QList<QByteArray> parts = split(fuzz::bytesOf(data, length));
    QStringList names{QStringLiteral("guide.json")};
    names += pictureNames(parts.first());
    names.append(QStringLiteral("thumbnail.jpg"));
    for (qsizetype i = 0; i < parts.size() && i < names.size(); ++i) {
        QFile file(QDir(folder).filePath(names[i]));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(parts[i]) != parts[i].size())
            fuzz::broken("cannot write", file.fileName());
        written.append(names[i]);
    }

    std::optional<LoadedGuide> loaded;
    try {
        loaded = GuideStore::read(folder);
    } catch (const Error& error) {
        if (verbose)
            std::fprintf(stderr, "read failed: %s\n", error.what());
        if (error.message().isEmpty() || error.path().isEmpty())
            fuzz::broken("an error without a message or a file", error.message());
        // UTF-8 taken for Latin-1 shows up as C1 control characters ("’" becomes "â\u0080\u0099").
        for (const QChar c : error.message())
            if (c.unicode() >= 0x80 && c.unicode() <= 0x9f)
                fuzz::broken("a garbled message", error.message());
    }

    if (loaded && verbose)
        std::fprintf(stderr, "read %lld steps\n", qlonglong(loaded->steps.size()));
    if (loaded) {
        for (const Step& step : std::as_const(loaded->steps)) {
            const QSize size = step.base.size();
            if (!withinLimits(size))
                fuzz::broken("a step picture beyond the limits was accepted");
            if (step.base.pixels().size() != size || step.rendered.pixels().size() != size)
                fuzz::broken("a step picture shows another size than its header");
            // Let the cache go, as the application does once a picture is off screen.
            step.rendered.dropPixels();
            step.base.dropPixels();
        }
    }

    const std::optional<GuideSummary> summary = GuideStore::summary(folder);
    if (loaded) {
        if (!summary)
            fuzz::broken("a folder that reads has no summary");
        if (summary->title != loaded->title || summary->stepCount != loaded->steps.size())
            fuzz::broken("the summary disagrees with the guide", summary->title);
    }
    if (summary && !summary->thumbnail.isNull() &&
        (summary->thumbnail.width() > ImageCodec::maxSide ||
         summary->thumbnail.height() > ImageCodec::maxSide))
        fuzz::broken("a thumbnail beyond the limits");
    return 0;
}
