#include "recorder/TypingTracker.h"

#include "recorder/ClickDescriber.h"

#include <QCoreApplication>
#include <QTextBoundaryFinder>

namespace trovix {

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("trovix::TypingTracker", text);
}

QString inApplication(const std::optional<QString>& name) {
    return name && !name->isEmpty()
               ? QCoreApplication::translate("trovix::ClickDescriber", " in %1").arg(*name)
               : QString();
}

// The text on one line, cut to fewer user-perceived characters than a label may have.
QString shown(const QString& text) {
    const QString line = text.simplified();
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, line);
    int count = 0;
    int cut = -1;
    while (finder.toNextBoundary() != -1) {
        if (++count == TypingTracker::titleTextLimit - 2)
            cut = finder.position();
    }
    if (count < TypingTracker::titleTextLimit)
        return line;
    return line.left(cut) + QChar(0x2026);
}

bool commandHeld(const KeyStroke& stroke) {
    return stroke.modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
}

} // namespace

TypedField TypedField::read(const AccessibleElement& field, const std::optional<QString>& application) {
    TypedField typed;
    typed.password = field.isSecret();
    typed.frame = ClickDescriber::frameOf(field);
    typed.application = application;
    // Only a text field's text is what was typed: a terminal or a document view holds far more
    // than that, which the keys alone then tell.
    static const QStringList textRoles{QStringLiteral("AXTextField"), QStringLiteral("AXTextArea"),
                                       QStringLiteral("AXComboBox")};
    const std::optional<QString> role = field.text(ElementAttribute::role);
    if (!typed.password && !(role && textRoles.contains(*role))) {
        typed.frame.reset();
        return typed;
    }
    typed.name = ClickDescriber::string(field, ElementAttribute::title);
    if (!typed.name)
        typed.name = ClickDescriber::string(field, ElementAttribute::description);
    if (!typed.password)
        typed.text = field.text(ElementAttribute::contents);
    return typed;
}

QKeySequence TypingTracker::sequence(const KeyStroke& stroke) {
    return QKeySequence(QKeyCombination(stroke.modifiers, Qt::Key(stroke.key)));
}

QString TypingTracker::keyName(const KeyStroke& stroke) {
    return sequence(stroke).toString(QKeySequence::NativeText);
}

QList<TypingTracker::Event> TypingTracker::finish() {
    if (!m_typing)
        return {};
    m_typing = false;
    Event typed{Event::Kind::typed, m_typed, m_field, m_number, m_window};
    m_typed.clear();
    m_field = QVariant();
    m_window.reset();
    return {typed};
}

QList<TypingTracker::Event> TypingTracker::end() {
    return finish();
}

QList<TypingTracker::Event> TypingTracker::focusChanged(const QVariant& focusedField) {
    if (m_typing && m_field.isValid() && focusedField != m_field)
        return finish();
    return {};
}

QList<TypingTracker::Event> TypingTracker::key(const KeyStroke& stroke, const QVariant& focusedField) {
    if (commandHeld(stroke)) {
        if (!stroke.key)
            return {};
        QList<Event> events = finish();
        events.append({Event::Kind::keys, keyName(stroke), {}, 0, stroke.window});
        return events;
    }
    switch (stroke.key) {
    case Qt::Key_Enter:
    case Qt::Key_Return:
        if (m_typing)
            return finish();
        return {{Event::Kind::keys, keyName(stroke), {}, 0, stroke.window}};
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return finish();
    case Qt::Key_Escape:
    case Qt::Key_Delete:
        // Delete while typing corrects the text; on its own it deletes something.
        if (stroke.key == Qt::Key_Delete && m_typing)
            return {};
        {
            QList<Event> events = finish();
            events.append({Event::Kind::keys, keyName(stroke), {}, 0, stroke.window});
            return events;
        }
    case Qt::Key_Backspace:
        if (m_typing && !m_typed.isEmpty()) {
            QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, m_typed);
            finder.toEnd();
            m_typed.truncate(std::max<qsizetype>(0, finder.toPreviousBoundary()));
        }
        return {};
    default:
        break;
    }
    if (stroke.key >= Qt::Key_F1 && stroke.key <= Qt::Key_F35) {
        QList<Event> events = finish();
        events.append({Event::Kind::keys, keyName(stroke), {}, 0, stroke.window});
        return events;
    }
    if (stroke.text.isEmpty())
        return {}; // moving the cursor, Home, End: part of editing, or of nothing
    QList<Event> events;
    if (m_typing && focusedField.isValid() && focusedField != m_field)
        events = finish();
    if (!m_typing) {
        m_typing = true;
        ++m_number;
        m_field = focusedField;
    }
    if (stroke.window)
        m_window = stroke.window;
    // The keys stand in only for a field that cannot be read; a whole afternoon of typing into one
    // is kept up to a point, not without end.
    if (m_typed.size() < typedLimit)
        m_typed += stroke.text;
    return events;
}

ClickTarget TypingTracker::typingTarget(const Event& typed, const std::optional<TypedField>& field) {
    ClickTarget target;
    if (field && field->reportedByPage)
        return target; // no step of its own
    target.ring = false;
    const std::optional<QString> application = field ? field->application : std::nullopt;
    const QString suffix = inApplication(application);
    if (field)
        target.frame = field->frame;
    if (field && field->password) {
        target.title = field->name ? tr("Type the password in “%1”").arg(*field->name)
                                   : tr("Type the password%1").arg(suffix);
        target.secret = field->frame;
        return target;
    }
    const bool read = field && field->text;
    const QString text = read ? *field->text : typed.text;
    // Keys that typed nothing visible into something that is no field (Space on a button) make no
    // step.
    if (!read && text.simplified().isEmpty())
        return {};
    if (text.isEmpty()) {
        target.title =
            field && field->name ? tr("Clear “%1”").arg(*field->name) : tr("Clear the field%1").arg(suffix);
        return target;
    }
    const QString quoted = shown(text);
    target.title = field && field->name ? tr("Type “%1” in “%2”").arg(quoted, *field->name)
                                        : tr("Type “%1”%2").arg(quoted, suffix);
    if (quoted != text)
        target.note = text;
    return target;
}

ClickTarget TypingTracker::keysTarget(const QString& keys, const std::optional<QString>& application) {
    ClickTarget target;
    target.ring = false;
    target.title = tr("Press %1%2").arg(keys, inApplication(application));
    return target;
}

} // namespace trovix
