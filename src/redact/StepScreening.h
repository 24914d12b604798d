#pragma once

#include "document/Guide.h"
#include "redact/RedactionOptions.h"
#include "redact/SecretDetector.h"

#include <QMap>

#include <functional>

namespace trovix {

// Looks for secrets on a step's screenshot and covers them before the step is written anywhere.
namespace StepScreening {

// The step with every secret on its base covered (the step itself when none is found or nothing
// is switched on). Slow: call it off the main thread.
Step screen(const Step& step, const SecretDetector::Read& read, const RedactionOptions& options);

// The step with these fields (annotation space) covered as password fields, when that kind is
// switched on: what a password field shows is a secret, whatever text can be read off it. Quick
// enough for the main thread; call it before the step is appended, so the step is never shown or
// written with them open.
Step coverFields(const Step& step, const QList<QRectF>& fields, const RedactionOptions& options);

// An intake for Guide::setIntake that screens each new step on a worker thread, with the options
// as they are when the step arrives.
Guide::Intake intake(SecretDetector::Read read, std::function<RedactionOptions()> options);

// How many regions of each kind a guide's steps have covered.
QMap<SecretKind, int> countByKind(const QList<Step>& steps);
int count(const QList<Step>& steps);

} // namespace StepScreening

} // namespace trovix
