#include "app/Icons.h"

#include <QDir>
#include <QPainter>
#include <QPixmap>
#include <QStandardPaths>

namespace trovix::Icons {

void ensureTheme() {
    const QString theme = QIcon::themeName();
    if (!theme.isEmpty() && theme != QLatin1String("hicolor"))
        return;
    for (const QString& dir : QIcon::themeSearchPaths()) {
        if (QDir(dir).exists(QStringLiteral("Adwaita/index.theme"))) {
            QIcon::setThemeName(QStringLiteral("Adwaita"));
            return;
        }
    }
}

QIcon themed(const QStringList& names, const QIcon& fallback) {
    for (const QString& name : names) {
        if (QIcon::hasThemeIcon(name))
            return QIcon::fromTheme(name);
        const QString symbolic = name + QStringLiteral("-symbolic");
        if (QIcon::hasThemeIcon(symbolic))
            return QIcon::fromTheme(symbolic);
    }
    return fallback;
}

QIcon tinted(const QIcon& icon, const QColor& colour) {
    QIcon result;
    for (int side : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap = icon.pixmap(side, side);
        if (pixmap.isNull())
            continue;
        QPainter painter(&pixmap);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), colour);
        painter.end();
        result.addPixmap(pixmap);
    }
    return result;
}

QIcon application() {
    QIcon icon = QIcon::fromTheme(QStringLiteral("io.github.trovix.Trovix"));
    if (icon.isNull())
        icon = QIcon(QStringLiteral(":/trovix/trovix.svg"));
    return icon;
}

} // namespace trovix::Icons
