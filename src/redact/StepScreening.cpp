#include "redact/StepScreening.h"

#include "redact/Redactor.h"

#include <QtConcurrent/QtConcurrentRun>

namespace trovix::StepScreening {

Step screen(const Step& step, const SecretDetector::Read& read, const RedactionOptions& options) {
    if (step.base.isNull() || !options.anyOn())
        return step;
    const bool hadPixels = step.base.hasPixels();
    const QImage pixels = step.base.pixels();
    QList<Redaction> found = SecretDetector::detect(pixels, step.scale, read, options);
    // Regions already covered are not covered twice.
    found.removeIf([&](const Redaction& region) {
        return std::any_of(step.redactions.cbegin(), step.redactions.cend(),
                           [&](const Redaction& done) { return done.rect.contains(region.rect); });
    });
    if (found.isEmpty()) {
        if (!hadPixels)
            step.base.dropPixels();
        return step;
    }
    return Redactor::cover(step, found);
}

Step coverFields(const Step& step, const QList<QRectF>& fields, const RedactionOptions& options) {
    if (!options.isOn(SecretKind::password) || step.base.isNull())
        return step;
    const QRectF bounds(QPointF(0, 0), QSizeF(step.base.size()) / (step.scale > 0 ? step.scale : 1));
    QList<Redaction> regions;
    for (const QRectF& field : fields) {
        const QRectF inside = field.normalized().intersected(bounds);
        if (!inside.isEmpty())
            regions.append(Redaction{SecretKind::password, inside});
    }
    return Redactor::cover(step, regions);
}

Guide::Intake intake(SecretDetector::Read read, std::function<RedactionOptions()> options) {
    return [read = std::move(read), options = std::move(options)](const Step& step) {
        const RedactionOptions now = options();
        return QtConcurrent::run([read, now, step] { return screen(step, read, now); });
    };
}

QMap<SecretKind, int> countByKind(const QList<Step>& steps) {
    QMap<SecretKind, int> counts;
    for (const Step& step : steps)
        for (const Redaction& region : step.redactions)
            ++counts[region.kind];
    return counts;
}

int count(const QList<Step>& steps) {
    int total = 0;
    for (const Step& step : steps)
        total += int(step.redactions.size());
    return total;
}

} // namespace trovix::StepScreening
