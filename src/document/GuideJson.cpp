#include "document/GuideJson.h"

#include "document/Error.h"
#include "document/Step.h"
#include "document/StoreErrors.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <charconv>
#include <cmath>
#include <cstdio>

namespace trovix::GuideJson {

namespace {

// ---- writing ----

class Writer {
public:
    explicit Writer(const QString& path)
        : m_path(path) {}

    QByteArray out;

    void string(const QString& text) {
        const QByteArray utf8 = text.toUtf8();
        out += '"';
        for (const char c : utf8) {
            switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '/':
                out += "\\/";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x",
                                  unsigned(static_cast<unsigned char>(c)));
                    out += escaped;
                } else {
                    out += c;
                }
            }
        }
        out += '"';
    }

    void key(const char* name) {
        out += '"';
        out += name;
        out += "\":";
    }

    // Shortest text that reads back as exactly the same double; integral values come out without a
    // fraction ("2").
    void number(double value, const QString& where) {
        if (!std::isfinite(value))
            throw Error(Error::Code::writeUnknown,
                        QCoreApplication::translate(
                            "trovix::GuideJson",
                            "The file %1 couldn’t be saved because %2 holds a number that can’t be "
                            "stored (it is not a number or infinite).")
                            .arg(StoreErrors::fileInFolder(m_path), where),
                        m_path);
        char text[32];
        const auto result = std::to_chars(text, text + sizeof text, value);
        out.append(text, result.ptr - text);
    }

    void integer(qint64 value) {
        char text[24];
        const auto result = std::to_chars(text, text + sizeof text, value);
        out.append(text, result.ptr - text);
    }

    void point(const QPointF& p, const QString& where) {
        out += '[';
        number(p.x(), where);
        out += ',';
        number(p.y(), where);
        out += ']';
    }

private:
    QString m_path;
};

// ---- reading ----

class Reader {
public:
    explicit Reader(const QString& path)
        : m_path(path) {}

    [[noreturn]] void fail(const QString& detail) const { throw StoreErrors::decodingError(m_path, detail); }

    QJsonValue required(const QJsonObject& object, const char* key, const QString& where) const {
        const auto it = object.constFind(QLatin1String(key));
        if (it == object.constEnd())
            fail(QCoreApplication::translate("trovix::GuideJson", "%1 has no “%2”")
                     .arg(where, QLatin1String(key)));
        if (it->isNull())
            fail(QCoreApplication::translate("trovix::GuideJson", "%1 has no value for “%2”")
                     .arg(where, QLatin1String(key)));
        return *it;
    }

    [[noreturn]] void wrongType(const char* key, const QString& where, const char* expected) const {
        fail(QCoreApplication::translate("trovix::GuideJson", "“%1” of %2 isn’t %3")
                 .arg(QLatin1String(key), where, QCoreApplication::translate("trovix::GuideJson", expected)));
    }

    QString string(const QJsonObject& object, const char* key, const QString& where) const {
        const QJsonValue value = required(object, key, where);
        if (!value.isString())
            wrongType(key, where, QT_TRANSLATE_NOOP("trovix::GuideJson", "a string"));
        return value.toString();
    }

    double number(const QJsonObject& object, const char* key, const QString& where) const {
        const QJsonValue value = required(object, key, where);
        if (!value.isDouble())
            wrongType(key, where, QT_TRANSLATE_NOOP("trovix::GuideJson", "a number"));
        return value.toDouble();
    }

    qint64 integer(const QJsonObject& object, const char* key, const QString& where) const {
        const QJsonValue value = required(object, key, where);
        if (!value.isDouble())
            wrongType(key, where, QT_TRANSLATE_NOOP("trovix::GuideJson", "a whole number"));
        const qint64 whole = value.toInteger(0);
        if (double(whole) != value.toDouble())
            wrongType(key, where, QT_TRANSLATE_NOOP("trovix::GuideJson", "a whole number"));
        return whole;
    }

    QJsonArray array(const QJsonObject& object, const char* key, const QString& where) const {
        const QJsonValue value = required(object, key, where);
        if (!value.isArray())
            wrongType(key, where, QT_TRANSLATE_NOOP("trovix::GuideJson", "a list"));
        return value.toArray();
    }

    QPointF point(const QJsonObject& object, const char* key, const QString& where) const {
        const QJsonArray values = array(object, key, where);
        // Only the first two elements count; a longer array is accepted.
        if (values.size() < 2 || !values[0].isDouble() || !values[1].isDouble())
            fail(QCoreApplication::translate("trovix::GuideJson", "“%1” of %2 isn’t a point of two numbers")
                     .arg(QLatin1String(key), where));
        return QPointF(values[0].toDouble(), values[1].toDouble());
    }

    QUuid uuid(const QJsonObject& object, const char* key, const QString& where) const {
        const QString text = string(object, key, where);
        if (!isUuidString(text))
            fail(QCoreApplication::translate("trovix::GuideJson", "“%1” of %2 isn’t a valid UUID")
                     .arg(QLatin1String(key), where));
        return QUuid::fromString(text);
    }

    template <typename T>
    std::optional<T> optional(const QJsonObject& object, const char* key, const char* expected) const {
        const QJsonValue value = object.value(QLatin1String(key));
        if (value.isUndefined() || value.isNull())
            return std::nullopt;
        if constexpr (std::is_same_v<T, bool>) {
            if (!value.isBool())
                wrongType(key, QCoreApplication::translate("trovix::GuideJson", "the guide"), expected);
            return value.toBool();
        } else {
            if (!value.isString())
                wrongType(key, QCoreApplication::translate("trovix::GuideJson", "the guide"), expected);
            return value.toString();
        }
    }

    // The standard 36-character form only: groups of 8, 4, 4, 4 and 12 hexadecimal digits, any case.
    static bool isUuidString(const QString& text) {
        if (text.size() != 36)
            return false;
        for (int i = 0; i < 36; ++i) {
            const QChar c = text[i];
            if (i == 8 || i == 13 || i == 18 || i == 23) {
                if (c != u'-')
                    return false;
            } else if (!((c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F'))) {
                return false;
            }
        }
        return true;
    }

private:
    QString m_path;
};

QString stepWhere(qsizetype index) {
    return QCoreApplication::translate("trovix::GuideJson", "step %1").arg(index + 1);
}

QString annotationWhere(qsizetype step, qsizetype index) {
    return QCoreApplication::translate("trovix::GuideJson", "annotation %1 of step %2")
        .arg(index + 1)
        .arg(step + 1);
}

QString redactionWhere(qsizetype step, qsizetype index) {
    return QCoreApplication::translate("trovix::GuideJson", "covered region %1 of step %2")
        .arg(index + 1)
        .arg(step + 1);
}

} // namespace

QByteArray encode(const GuideRecord& record, const QString& path) {
    Writer w(path);
    w.out.reserve(256 + record.steps.size() * 256);
    w.out += '{';
    w.key("title");
    w.string(record.title);
    w.out += ',';
    w.key("steps");
    w.out += '[';
    for (qsizetype s = 0; s < record.steps.size(); ++s) {
        const StepRecord& step = record.steps[s];
        if (s > 0)
            w.out += ',';
        w.out += '{';
        w.key("id");
        w.string(uuidString(step.id));
        w.out += ',';
        w.key("title");
        w.string(step.title);
        w.out += ',';
        w.key("note");
        w.string(step.note);
        w.out += ',';
        w.key("scale");
        w.number(step.scale,
                 QCoreApplication::translate("trovix::GuideJson", "the scale of step %1").arg(s + 1));
        w.out += ',';
        w.key("annotations");
        w.out += '[';
        for (qsizetype a = 0; a < step.annotations.size(); ++a) {
            const Annotation& annotation = step.annotations[a];
            const QString where = annotationWhere(s, a);
            if (a > 0)
                w.out += ',';
            w.out += '{';
            w.key("kind");
            w.integer(rawValue(annotation.kind));
            w.out += ',';
            w.key("p1");
            w.point(annotation.p1, where);
            w.out += ',';
            w.key("p2");
            w.point(annotation.p2, where);
            w.out += ',';
            w.key("text");
            w.string(annotation.text);
            w.out += ',';
            w.key("number");
            w.integer(annotation.number);
            w.out += '}';
        }
        w.out += ']';
        if (!step.redactions.isEmpty()) {
            w.out += ',';
            w.key("redactions");
            w.out += '[';
            for (qsizetype r = 0; r < step.redactions.size(); ++r) {
                const Redaction& region = step.redactions[r];
                const QString where = redactionWhere(s, r);
                if (r > 0)
                    w.out += ',';
                w.out += '{';
                w.key("kind");
                w.string(secretKindName(region.kind));
                w.out += ',';
                w.key("p1");
                w.point(region.rect.topLeft(), where);
                w.out += ',';
                w.key("p2");
                w.point(region.rect.bottomRight(), where);
                w.out += '}';
            }
            w.out += ']';
        }
        w.out += '}';
    }
    w.out += ']';
    if (record.sourcePath) {
        w.out += ',';
        w.key("sourcePath");
        w.string(*record.sourcePath);
    }
    if (record.dirty) {
        w.out += ',';
        w.key("dirty");
        w.out += *record.dirty ? "true" : "false";
    }
    w.out += '}';
    return w.out;
}

GuideRecord decode(const QByteArray& json, const QString& path) {
    const Reader r(path);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError)
        r.fail(QCoreApplication::translate("trovix::GuideJson", "it isn’t valid JSON (%1 at byte %2)")
                   .arg(error.errorString(), QString::number(error.offset)));
    if (!document.isObject())
        r.fail(QCoreApplication::translate("trovix::GuideJson", "it doesn’t hold a guide record"));
    const QJsonObject root = document.object();
    const QString guide = QCoreApplication::translate("trovix::GuideJson", "the guide");

    GuideRecord record;
    record.title = r.string(root, "title", guide);
    const QJsonArray steps = r.array(root, "steps", guide);
    record.steps.reserve(steps.size());
    for (qsizetype s = 0; s < steps.size(); ++s) {
        const QString where = stepWhere(s);
        if (!steps[s].isObject())
            r.fail(QCoreApplication::translate("trovix::GuideJson", "%1 isn’t an object").arg(where));
        const QJsonObject object = steps[s].toObject();
        StepRecord step;
        step.id = r.uuid(object, "id", where);
        step.title = r.string(object, "title", where);
        step.note = r.string(object, "note", where);
        step.scale = r.number(object, "scale", where);
        const QJsonArray annotations = r.array(object, "annotations", where);
        step.annotations.reserve(annotations.size());
        for (qsizetype a = 0; a < annotations.size(); ++a) {
            const QString at = annotationWhere(s, a);
            if (!annotations[a].isObject())
                r.fail(QCoreApplication::translate("trovix::GuideJson", "%1 isn’t an object").arg(at));
            const QJsonObject item = annotations[a].toObject();
            Annotation annotation;
            const qint64 raw = r.integer(item, "kind", at);
            const std::optional<Kind> kind = kindFromRaw(raw);
            if (!kind)
                r.fail(QCoreApplication::translate("trovix::GuideJson", "“kind” of %1 is %2, not one of 0…7")
                           .arg(at, QString::number(raw)));
            annotation.kind = *kind;
            annotation.p1 = r.point(item, "p1", at);
            annotation.p2 = r.point(item, "p2", at);
            annotation.text = r.string(item, "text", at);
            annotation.number = r.integer(item, "number", at);
            step.annotations.append(annotation);
        }
        if (object.contains(QLatin1String("redactions"))) {
            const QJsonArray regions = r.array(object, "redactions", where);
            for (qsizetype i = 0; i < regions.size(); ++i) {
                const QString at = redactionWhere(s, i);
                if (!regions[i].isObject())
                    r.fail(QCoreApplication::translate("trovix::GuideJson", "%1 isn’t an object").arg(at));
                const QJsonObject item = regions[i].toObject();
                const QString name = r.string(item, "kind", at);
                const std::optional<SecretKind> kind = secretKindFromName(name);
                if (!kind)
                    r.fail(QCoreApplication::translate("trovix::GuideJson",
                                                       "“kind” of %1 is “%2”, not a known kind")
                               .arg(at, name));
                const QRectF rect(r.point(item, "p1", at), r.point(item, "p2", at));
                if (!std::isfinite(rect.x()) || !std::isfinite(rect.y()) || !std::isfinite(rect.width()) ||
                    !std::isfinite(rect.height()))
                    r.fail(QCoreApplication::translate("trovix::GuideJson", "%1 isn’t a finite rectangle")
                               .arg(at));
                step.redactions.append(Redaction{*kind, rect.normalized()});
            }
        }
        record.steps.append(step);
    }
    record.sourcePath =
        r.optional<QString>(root, "sourcePath", QT_TRANSLATE_NOOP("trovix::GuideJson", "a string"));
    record.dirty = r.optional<bool>(root, "dirty", QT_TRANSLATE_NOOP("trovix::GuideJson", "true or false"));
    return record;
}

} // namespace trovix::GuideJson
