#include "i18n/Translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace trovix {

namespace {

// Installs the first of the locale's languages that `name` is translated into, if any.
void installFirst(const QLocale& locale, const QString& name, const QString& folder) {
    auto* translator = new QTranslator(QCoreApplication::instance());
    if (translator->load(locale, name, QStringLiteral("_"), folder) &&
        QCoreApplication::installTranslator(translator))
        return;
    delete translator;
}

} // namespace

void Translations::install() {
    const QLocale locale = QLocale::system();
    // Without an own translation for the language, Qt's texts stay English too, and with one they are
    // in its language (not a preferred language Trovix lacks): one language per window.
    auto* own = new QTranslator(QCoreApplication::instance());
    if (!own->load(locale, QStringLiteral("trovix"), QStringLiteral("_"), QStringLiteral(":/trovix/i18n")) ||
        !QCoreApplication::installTranslator(own)) {
        delete own;
        return;
    }
    installFirst(QLocale(own->language()), QStringLiteral("qtbase"),
                 QLibraryInfo::path(QLibraryInfo::TranslationsPath));
}

} // namespace trovix
