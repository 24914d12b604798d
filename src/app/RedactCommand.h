#pragma once

#include "redact/SecretDetector.h"

#include <QObject>

class QWidget;

namespace trovix {

class Guide;

// "Redact Secrets…": looks for secrets on every step of the open guide (guides made before steps
// were searched as they arrived, or after the user added words of their own) and covers them, then
// says how many regions it covered, by kind. Also makes the text reader every search uses.
class RedactCommand : public QObject {
    Q_OBJECT
public:
    explicit RedactCommand(QObject* parent = nullptr);

    // Reads a prepared picture's words with the system's Tesseract, only where it differs from the
    // pictures read before; null where Tesseract is not installed.
    static SecretDetector::Read systemReader();

    // Searches the guide's steps and reports the outcome in an alert over `window`.
    void redactGuide(Guide& guide, QWidget* window);

    // The report's text: how many regions of each kind were covered.
    static QString summary(const QMap<SecretKind, int>& counts);
    static QString kindName(SecretKind kind, int count);

private:
    bool m_running = false;
};

} // namespace trovix
