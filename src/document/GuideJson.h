#pragma once

#include "document/Annotation.h"
#include "document/Redaction.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

namespace trovix {

// One step as "guide.json" holds it: everything but the pictures.
struct StepRecord {
    QUuid id;
    QString title;
    QString note;
    double scale = 1;
    QList<Annotation> annotations;
    // Written only when there are any, so a guide without covered regions reads as before.
    QList<Redaction> redactions = {};
};

// The content of "guide.json".
struct GuideRecord {
    QString title;
    QList<StepRecord> steps;
    std::optional<QString> sourcePath; // working copy only
    std::optional<bool> dirty;         // working copy only
};

namespace GuideJson {

// Compact JSON with the keys in a fixed order, every "/" escaped and numbers in their shortest exact
// form. A number JSON cannot hold (not a number, infinite) throws Error::Code::writeUnknown naming
// `path`, the file the bytes are for.
QByteArray encode(const GuideRecord& record, const QString& path);

// Decodes strictly: a missing key, a value of the wrong type, an invalid UUID, a kind outside 0…7 or
// a point with fewer than two numbers throws Error::Code::decoding naming `path`, the file the bytes
// came from. Unknown keys are ignored; "/" may come escaped or not; integral and fractional forms
// are both accepted for floating-point fields.
GuideRecord decode(const QByteArray& json, const QString& path);

} // namespace GuideJson

} // namespace trovix
