#include "platform/browser/PageMessage.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QtEndian>

#include <cmath>
#include <cstring>
#include <utility>

namespace trovix::PageMessage {

namespace {

// Whole CSS pixels may round either way when a browser scales them to device pixels.
constexpr double roundingSlack = 1.0;

std::optional<double> number(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    if (!value.isDouble() || !std::isfinite(value.toDouble()))
        return std::nullopt;
    return value.toDouble();
}

Parsed refuse(const QString& error, std::optional<qint64> id = std::nullopt) {
    return {std::nullopt, error, id};
}

bool inside(const QRectF& rect, QSize picture) {
    return rect.left() >= -roundingSlack && rect.top() >= -roundingSlack &&
           rect.right() <= picture.width() + roundingSlack &&
           rect.bottom() <= picture.height() + roundingSlack;
}

} // namespace

std::optional<QSize> pngSize(const QByteArray& png) {
    static constexpr unsigned char signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    // The signature, then the IHDR chunk: length 13, type, width and height (big-endian).
    if (png.size() < 33 || std::memcmp(png.constData(), signature, sizeof signature) != 0)
        return std::nullopt;
    const auto* bytes = reinterpret_cast<const uchar*>(png.constData());
    if (qFromBigEndian<quint32>(bytes + 8) != 13 || std::memcmp(bytes + 12, "IHDR", 4) != 0)
        return std::nullopt;
    const quint32 width = qFromBigEndian<quint32>(bytes + 16);
    const quint32 height = qFromBigEndian<quint32>(bytes + 20);
    if (width == 0 || height == 0 || width > quint32(maxPictureSide) || height > quint32(maxPictureSide))
        return std::nullopt;
    return QSize(int(width), int(height));
}

Parsed parse(const QByteArray& json) {
    if (json.size() > maxBytes)
        return refuse(QStringLiteral("The message is larger than %1 bytes.").arg(maxBytes));
    // A click's picture is nearly all of its text (tens of MB for a 4K tab): it is cut out before the
    // rest is parsed and decoded where it lies, so that it is never copied or widened to UTF-16.
    // Only a picture written the plain way is cut out; any other spelling takes the general path.
    static const QByteArray pictureKey("\"picture\":\"data:image/png;base64,");
    QByteArray rest;
    QByteArray base64;
    if (const qsizetype key = json.indexOf(pictureKey); key >= 0) {
        const qsizetype start = key + pictureKey.size();
        const qsizetype end = json.indexOf('"', start);
        if (end > 0 && json.indexOf(pictureKey, end) < 0 &&
            QByteArrayView(json).sliced(start, end - start).indexOf('\\') < 0) {
            base64 = QByteArray::fromRawData(json.constData() + start, end - start);
            rest.reserve(json.size() - (end - start));
            rest.append(QByteArrayView(json).first(key))
                .append("\"picture\":\"\"")
                .append(QByteArrayView(json).sliced(end + 1));
        }
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(rest.isNull() ? json : rest, &error);
    if (error.error != QJsonParseError::NoError)
        return refuse(QStringLiteral("The message is not valid JSON: %1 at byte %2.")
                          .arg(error.errorString())
                          .arg(error.offset));
    if (!document.isObject())
        return refuse(QStringLiteral("The message is not a JSON object."));
    const QJsonObject object = document.object();

    std::optional<qint64> id;
    if (const std::optional<double> value = number(object, QLatin1StringView("id"))) {
        if (*value >= 0 && *value <= 9007199254740991.0 && std::floor(*value) == *value)
            id = qint64(*value);
    }

    Message message;
    const QString type = object.value(QLatin1StringView("type")).toString();
    if (type == QLatin1StringView("hello")) {
        message.type = Type::hello;
        message.browser = object.value(QLatin1StringView("browser")).toString().left(100);
        return {message, {}, id};
    }
    if (type == QLatin1StringView("recording")) {
        const QJsonValue on = object.value(QLatin1StringView("on"));
        if (!on.isBool())
            return refuse(QStringLiteral("A recording message needs \"on\" true or false."));
        message.type = Type::recording;
        message.on = on.toBool();
        return {message, {}, id};
    }
    if (type != QLatin1StringView("press") && type != QLatin1StringView("click") &&
        type != QLatin1StringView("lost"))
        return refuse(QStringLiteral("Unknown message type \"%1\".").arg(type.left(40)));
    if (!id)
        return refuse(QStringLiteral("A %1 message needs a whole, non-negative \"id\".").arg(type));
    message.id = *id;
    if (type == QLatin1StringView("press")) {
        message.type = Type::press;
        const QJsonValue typing = object.value(QLatin1StringView("typing"));
        if (!typing.isUndefined() && !typing.isBool())
            return refuse(QStringLiteral("A press's \"typing\" is true or false."), id);
        message.typing = typing.toBool();
        return {message, {}, id};
    }
    if (type == QLatin1StringView("lost")) {
        message.type = Type::lost;
        return {message, {}, id};
    }

    message.type = Type::click;
    const QJsonValue label = object.value(QLatin1StringView("label"));
    const QJsonValue page = object.value(QLatin1StringView("page"));
    if (!label.isString() || !page.isString())
        return refuse(QStringLiteral("A click needs a \"label\" and a \"page\" text."), id);
    // Titles use a few dozen characters of either; more is never shown.
    message.label = label.toString().left(1000);
    message.page = page.toString().left(1000);
    const std::optional<double> x = number(object, QLatin1StringView("x"));
    const std::optional<double> y = number(object, QLatin1StringView("y"));
    const std::optional<double> scale = number(object, QLatin1StringView("scale"));
    if (!x || !y)
        return refuse(QStringLiteral("A click needs numbers \"x\" and \"y\"."), id);
    if (!scale || *scale < 0.1 || *scale > 16)
        return refuse(QStringLiteral("A click needs a \"scale\" between 0.1 and 16."), id);
    message.position = QPointF(*x, *y);
    message.scale = *scale;

    const QJsonValue frameValue = object.value(QLatin1StringView("frame"));
    if (frameValue.isObject()) {
        const QJsonObject frame = frameValue.toObject();
        const std::optional<double> left = number(frame, QLatin1StringView("x"));
        const std::optional<double> top = number(frame, QLatin1StringView("y"));
        const std::optional<double> width = number(frame, QLatin1StringView("width"));
        const std::optional<double> height = number(frame, QLatin1StringView("height"));
        if (!left || !top || !width || !height || *width <= 0 || *height <= 0)
            return refuse(QStringLiteral("A click's \"frame\" needs numbers x, y and a positive width and "
                                         "height."),
                          id);
        message.frame = QRectF(*left, *top, *width, *height);
    } else if (!frameValue.isNull() && !frameValue.isUndefined()) {
        return refuse(QStringLiteral("A click's \"frame\" is an object or null."), id);
    }

    // Password fields are rectangles like the frame, and may reach past the picture's edge (a field
    // scrolled half out of view): only their visible part is kept, once the picture's size is known.
    const QJsonValue passwordsValue = object.value(QLatin1StringView("passwords"));
    if (passwordsValue.isArray()) {
        const QJsonArray fields = passwordsValue.toArray();
        if (fields.size() > 256)
            return refuse(QStringLiteral("A click names at most 256 password fields."), id);
        for (const QJsonValue& fieldValue : fields) {
            const QJsonObject field = fieldValue.toObject();
            const std::optional<double> left = number(field, QLatin1StringView("x"));
            const std::optional<double> top = number(field, QLatin1StringView("y"));
            const std::optional<double> width = number(field, QLatin1StringView("width"));
            const std::optional<double> height = number(field, QLatin1StringView("height"));
            if (!left || !top || !width || !height || *width < 0 || *height < 0)
                return refuse(QStringLiteral("A click's \"passwords\" are rectangles with numbers x, y "
                                             "and a width and height of at least 0."),
                              id);
            message.passwordFields.append(QRectF(*left, *top, *width, *height));
        }
    } else if (!passwordsValue.isNull() && !passwordsValue.isUndefined()) {
        return refuse(QStringLiteral("A click's \"passwords\" is a list or null."), id);
    }

    const QJsonValue typingValue = object.value(QLatin1StringView("typing"));
    if (typingValue.isObject()) {
        const QJsonObject typing = typingValue.toObject();
        const QJsonValue password = typing.value(QLatin1StringView("password"));
        const QJsonValue text = typing.value(QLatin1StringView("text"));
        if (!password.isBool())
            return refuse(QStringLiteral("A typing's \"password\" is true or false."), id);
        // Refused whole, so that a password sent by mistake goes no further.
        if (password.toBool() && !text.isUndefined())
            return refuse(QStringLiteral("A password field's typing carries no text."), id);
        if (!password.toBool() && !text.isString())
            return refuse(QStringLiteral("A typing needs the field's \"text\"."), id);
        message.typed = Typing{password.toBool(), std::nullopt};
        if (!password.toBool())
            message.typed->text = text.toString().left(maxTypedText);
    } else if (!typingValue.isNull() && !typingValue.isUndefined()) {
        return refuse(QStringLiteral("A click's \"typing\" is an object or null."), id);
    }

    static const QByteArray prefix("data:image/png;base64,");
    const QJsonValue pictureValue = object.value(QLatin1StringView("picture"));
    if (!pictureValue.isString())
        return refuse(QStringLiteral("A click needs its \"picture\"."), id);
    if (rest.isNull()) {
        base64 = pictureValue.toString().toLatin1();
        if (!base64.startsWith(prefix))
            return refuse(QStringLiteral("The click's picture is not a PNG data URL."), id);
        base64.remove(0, prefix.size());
    } else if (!pictureValue.toString().isEmpty()) {
        return refuse(QStringLiteral("The click's picture is not where its text says."), id);
    }
    QByteArray::FromBase64Result decoded =
        QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return refuse(QStringLiteral("The click's picture is not valid base64."), id);
    const std::optional<QSize> size = pngSize(*decoded);
    if (!size)
        return refuse(QStringLiteral("The click's picture is not a PNG of at most %1 pixels a side.")
                          .arg(maxPictureSide),
                      id);
    const QPointF pixel = message.position * message.scale;
    if (!inside(QRectF(pixel, QSizeF(0, 0)), *size))
        return refuse(QStringLiteral("The click at %1, %2 lies outside its %3×%4 picture.")
                          .arg(message.position.x())
                          .arg(message.position.y())
                          .arg(size->width())
                          .arg(size->height()),
                      id);
    if (message.frame) {
        const QRectF pixels(message.frame->topLeft() * message.scale, message.frame->size() * message.scale);
        if (!inside(pixels, *size))
            return refuse(QStringLiteral("The control's rectangle lies outside the %1×%2 picture.")
                              .arg(size->width())
                              .arg(size->height()),
                          id);
    }
    const QRectF visibleArea(QPointF(0, 0), QSizeF(*size) / message.scale);
    QList<QRectF> visible;
    for (const QRectF& field : std::as_const(message.passwordFields))
        if (const QRectF part = field.intersected(visibleArea); !part.isEmpty())
            visible.append(part);
    message.passwordFields = visible;
    message.png = std::move(*decoded);
    message.pictureSize = *size;
    return {message, {}, id};
}

QByteArray lengthPrefix(qsizetype size) {
    QByteArray prefix(4, Qt::Uninitialized);
    const quint32 length = quint32(size);
    std::memcpy(prefix.data(), &length, 4);
    return prefix;
}

QByteArray frame(const QByteArray& json) {
    return lengthPrefix(json.size()) + json;
}

void FrameReader::append(const QByteArray& bytes) {
    if (m_skip > 0) {
        const qint64 skipped = std::min<qint64>(m_skip, bytes.size());
        m_skip -= skipped;
        m_buffer.append(QByteArrayView(bytes).sliced(skipped));
        return;
    }
    m_buffer.append(bytes);
}

std::optional<QByteArray> FrameReader::next(QString* error) {
    if (!m_skipReported) {
        m_skipReported = true;
        if (error)
            *error = QStringLiteral("A message larger than %1 bytes was refused.").arg(maxBytes);
        return std::nullopt;
    }
    if (m_skip > 0 || m_buffer.size() < 4)
        return std::nullopt;
    quint32 length = 0;
    std::memcpy(&length, m_buffer.constData(), 4);
    if (qint64(length) > maxBytes) {
        const qint64 available = m_buffer.size() - 4;
        const qint64 skipped = std::min<qint64>(available, length);
        m_skip = qint64(length) - skipped;
        m_buffer.remove(0, 4 + skipped);
        m_skipReported = false;
        return next(error);
    }
    if (m_buffer.size() < 4 + qint64(length)) {
        // Grown once to the whole message rather than doubled on the way (a picture is tens of MB).
        m_buffer.reserve(4 + qint64(length));
        return std::nullopt;
    }
    if (m_buffer.size() == 4 + qint64(length)) {
        m_buffer.remove(0, 4);
        return std::exchange(m_buffer, QByteArray());
    }
    QByteArray message = m_buffer.mid(4, length);
    m_buffer.remove(0, 4 + length);
    return message;
}

void FrameReader::takeAll(const std::function<void(QByteArray)>& message,
                          const std::function<void(QString)>& refused) {
    while (true) {
        QString error;
        if (std::optional<QByteArray> json = next(&error))
            message(std::move(*json));
        else if (!error.isEmpty())
            refused(error);
        else
            return;
    }
}

} // namespace trovix::PageMessage
