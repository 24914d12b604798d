#pragma once

// Real input for tests on an X server: xdotool sends it through XTEST, as a user's keyboard and
// mouse would.

#include <QProcess>
#include <QStringList>
#include <QTest>

namespace trovix::testing {

inline void xdotool(const QStringList& arguments) {
    QVERIFY2(QProcess::execute(QStringLiteral("xdotool"), arguments) == 0, qPrintable(arguments.join(' ')));
}

} // namespace trovix::testing
