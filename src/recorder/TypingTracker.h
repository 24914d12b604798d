#pragma once

#include "platform/KeyMonitor.h"
#include "recorder/AccessibleElement.h"
#include "recorder/ClickTarget.h"

#include <QKeySequence>
#include <QList>
#include <QRectF>
#include <QString>
#include <QVariant>

#include <optional>

namespace trovix {

// A field typed into, as read when the typing ends.
struct TypedField {
    // What the field holds; none when it cannot be read (and never for a password field).
    std::optional<QString> text;
    // Its label, when it has a usable one.
    std::optional<QString> name;
    // Where it is on the desktop (global points).
    std::optional<QRectF> frame;
    bool password = false;
    // The application it belongs to.
    std::optional<QString> application;
    // A field in a web page whose browser reports the typing itself: that report makes the step.
    bool reportedByPage = false;

    // Reads a field from its accessibility element: a password field's text is never read.
    static TypedField read(const AccessibleElement& field, const std::optional<QString>& application);
};

// Turns the keys pressed while recording into what becomes a step: the text typed into one field,
// which ends when focus leaves it, on Enter or Tab, on a click, or when recording stops; or a key
// combination with Ctrl, Alt or Super, or a lone Enter, Escape, Delete or function key. Knows
// nothing of where the keys and fields come from: a field is a token its source hands over (an
// invalid one when the source does not know the field), compared for equality only.
class TypingTracker {
public:
    struct Event {
        enum class Kind { typed, keys } kind = Kind::typed;
        // typed: the characters typed with their corrections, a fallback for a field that cannot be
        // read; keys: the combination's name ("Ctrl+S").
        QString text;
        // typed: the field typed into.
        QVariant field;
        // typed: which typing it was (see typingNumber()).
        int number = 0;
        // The window with the keyboard, where the source knows it.
        std::optional<ClickedWindow> window = std::nullopt;
    };

    QList<Event> key(const KeyStroke& stroke, const QVariant& focusedField);
    // The focus moved (to an unknown place when the token is invalid).
    QList<Event> focusChanged(const QVariant& focusedField);
    // A click, or the end of the recording.
    QList<Event> end();
    bool isTyping() const { return m_typing; }
    // Counts the typings begun; names the one under way.
    int typingNumber() const { return m_number; }
    // The field of typing number `number`, found after it began without one; ignored once that
    // typing has ended or has its field.
    void identify(int number, const QVariant& field) {
        if (m_typing && number == m_number && !m_field.isValid())
            m_field = field;
    }

    // The combination as the menus write it ("Ctrl+Alt+S").
    static QString keyName(const KeyStroke& stroke);
    static QKeySequence sequence(const KeyStroke& stroke);

    // The step for a typing event once its field is read (or not): title, the field's frame, the full
    // text in the note when the title shows less of it, a password field's frame to cover.
    static ClickTarget typingTarget(const Event& typed, const std::optional<TypedField>& field);
    // "Press Ctrl+S in Editor".
    static ClickTarget keysTarget(const QString& keys, const std::optional<QString>& application);

    // Text in a title is cut below this many user-perceived characters, as labels are.
    static constexpr int titleTextLimit = 80;
    // The most characters kept of the keys typed into one field (UTF-16 units).
    static constexpr qsizetype typedLimit = 100000;

private:
    QList<Event> finish();

    bool m_typing = false;
    int m_number = 0;
    QString m_typed;
    QVariant m_field;
    std::optional<ClickedWindow> m_window;
};

} // namespace trovix
