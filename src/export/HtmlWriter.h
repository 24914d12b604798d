#pragma once

#include "document/Step.h"
#include "export/Exporter.h"

#include <QByteArrayView>
#include <QDate>
#include <QString>

#include <functional>

namespace trovix {

// Produces the self-contained HTML document piece by piece, so that it can be collected in memory
// or streamed to a file with identical bytes.
class HtmlWriter {
public:
    using Sink = std::function<void(QByteArrayView)>;

    // The four replacements, "&" first so that the entities the others make are not escaped again.
    static QString escaped(const QString& text);
    static void write(const QString& title, const QList<Step>& steps, ExportQuality quality, QDate date,
                      const ExportProgress& progress, const Sink& sink);
};

} // namespace trovix
