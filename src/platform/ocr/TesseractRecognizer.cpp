#include "platform/ocr/TesseractRecognizer.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

#include <tesseract/capi.h>

#include <dlfcn.h>

#include <algorithm>

namespace trovix {

// The few entry points of Tesseract's C interface that recognition needs, from the library opened
// at run time. Never closed: the engine's own static data lives as long as the process.
struct TesseractRecognizer::Library {
    decltype(&TessBaseAPICreate) create = nullptr;
    decltype(&TessBaseAPIDelete) destroy = nullptr;
    decltype(&TessBaseAPIInit2) init = nullptr;
    decltype(&TessBaseAPIEnd) end = nullptr;
    decltype(&TessBaseAPISetVariable) setVariable = nullptr;
    decltype(&TessBaseAPISetPageSegMode) setPageSegMode = nullptr;
    decltype(&TessBaseAPISetImage) setImage = nullptr;
    decltype(&TessBaseAPISetSourceResolution) setSourceResolution = nullptr;
    decltype(&TessBaseAPIRecognize) recognize = nullptr;
    decltype(&TessBaseAPIGetIterator) iterator = nullptr;
    decltype(&TessResultIteratorNext) next = nullptr;
    decltype(&TessResultIteratorGetUTF8Text) text = nullptr;
    decltype(&TessResultIteratorConfidence) confidence = nullptr;
    decltype(&TessResultIteratorGetPageIteratorConst) pageIterator = nullptr;
    decltype(&TessPageIteratorBoundingBox) boundingBox = nullptr;
    decltype(&TessResultIteratorDelete) deleteIterator = nullptr;
    decltype(&TessDeleteText) deleteText = nullptr;
    decltype(&TessPageIteratorIsAtBeginningOf) isAtBeginningOf = nullptr;
    decltype(&TessMonitorCreate) createMonitor = nullptr;
    decltype(&TessMonitorDelete) deleteMonitor = nullptr;
    decltype(&TessMonitorSetDeadlineMSecs) setDeadline = nullptr;
    void (*setMaxActiveLevels)(int) = nullptr; // OpenMP's, when Tesseract was built with it

    static std::shared_ptr<const Library> open() {
        static const std::shared_ptr<const Library> library = [] {
            void* handle = dlopen("libtesseract.so.5", RTLD_NOW | RTLD_LOCAL);
            if (!handle)
                return std::shared_ptr<const Library>();
            auto lib = std::make_shared<Library>();
            bool complete = true;
            const auto resolve = [&](auto& function, const char* name) {
                function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(handle, name));
                complete = complete && function;
            };
            resolve(lib->create, "TessBaseAPICreate");
            resolve(lib->destroy, "TessBaseAPIDelete");
            resolve(lib->init, "TessBaseAPIInit2");
            resolve(lib->end, "TessBaseAPIEnd");
            resolve(lib->setVariable, "TessBaseAPISetVariable");
            resolve(lib->setPageSegMode, "TessBaseAPISetPageSegMode");
            resolve(lib->setImage, "TessBaseAPISetImage");
            resolve(lib->setSourceResolution, "TessBaseAPISetSourceResolution");
            resolve(lib->recognize, "TessBaseAPIRecognize");
            resolve(lib->iterator, "TessBaseAPIGetIterator");
            resolve(lib->next, "TessResultIteratorNext");
            resolve(lib->text, "TessResultIteratorGetUTF8Text");
            resolve(lib->confidence, "TessResultIteratorConfidence");
            resolve(lib->pageIterator, "TessResultIteratorGetPageIteratorConst");
            resolve(lib->boundingBox, "TessPageIteratorBoundingBox");
            resolve(lib->deleteIterator, "TessResultIteratorDelete");
            resolve(lib->deleteText, "TessDeleteText");
            resolve(lib->isAtBeginningOf, "TessPageIteratorIsAtBeginningOf");
            resolve(lib->createMonitor, "TessMonitorCreate");
            resolve(lib->deleteMonitor, "TessMonitorDelete");
            resolve(lib->setDeadline, "TessMonitorSetDeadlineMSecs");
            if (!complete)
                return std::shared_ptr<const Library>();
            lib->setMaxActiveLevels =
                reinterpret_cast<void (*)(int)>(dlsym(handle, "omp_set_max_active_levels"));
            return std::shared_ptr<const Library>(std::move(lib));
        }();
        return library;
    }
};

namespace {

// Where language data may be: only the folder TESSDATA_PREFIX names when it is set, as Tesseract
// itself does, else the places Debian's packages put it.
QStringList dataDirectories() {
    const QString prefix = qEnvironmentVariable("TESSDATA_PREFIX");
    if (!prefix.isEmpty())
        return {prefix, prefix + QStringLiteral("/tessdata")};
    return {QStringLiteral("/usr/share/tesseract-ocr/5/tessdata"),
            QStringLiteral("/usr/share/tesseract-ocr/4.00/tessdata"), QStringLiteral("/usr/share/tessdata")};
}

// A control's own glyph drawn close to its label (a check box's tick, a radio button's dot, a
// border) comes back as a mark at the word's start or end ("@checkbutton") and drags the whole
// word's confidence down. Without those marks, the word is as sure as its least sure letter.
ScreenWord withoutMarks(const ScreenWord& word, const QList<ScreenWord>& symbols) {
    const auto isMark = [](const ScreenWord& symbol) {
        const QChar c = symbol.text.size() == 1 ? symbol.text.at(0) : QChar();
        return (c.isSymbol() || c.isPunct()) && !QStringLiteral("()[]\"'.,:;!?&%#+-/").contains(c);
    };
    qsizetype first = 0;
    qsizetype last = symbols.size() - 1;
    while (first <= last && isMark(symbols[first]))
        ++first;
    while (last >= first && isMark(symbols[last]))
        --last;
    if (first == 0 && last == symbols.size() - 1)
        return word;
    ScreenWord kept{QString(), QRectF(), 100};
    for (qsizetype i = first; i <= last; ++i) {
        kept.text += symbols[i].text;
        kept.box = kept.box.isNull() ? symbols[i].box : kept.box.united(symbols[i].box);
        kept.confidence = std::min(kept.confidence, symbols[i].confidence);
    }
    return kept;
}

} // namespace

std::unique_ptr<TesseractRecognizer> TesseractRecognizer::create(const QLocale& locale, Layout layout) {
    std::shared_ptr<const Library> library = Library::open();
    if (!library)
        return nullptr;
    // Tesseract names its data after the three-letter codes ("deu", "fra").
    const QString own = QLocale::languageToCode(locale.language(), QLocale::ISO639Part2T);
    for (const QString& language : {own, QStringLiteral("eng")}) {
        if (language.isEmpty())
            continue;
        for (const QString& directory : dataDirectories()) {
            if (QFileInfo(directory + QLatin1Char('/') + language + QStringLiteral(".traineddata")).isFile())
                return std::unique_ptr<TesseractRecognizer>(new TesseractRecognizer(
                    std::move(library), QDir::cleanPath(directory), language, layout));
        }
    }
    return nullptr;
}

TesseractRecognizer::TesseractRecognizer(std::shared_ptr<const Library> library, QString dataPath,
                                         QString language, Layout layout)
    : m_library(std::move(library))
    , m_dataPath(std::move(dataPath))
    , m_language(std::move(language))
    , m_layout(layout) {}

TesseractRecognizer::~TesseractRecognizer() {
    if (m_api) {
        auto* api = static_cast<TessBaseAPI*>(m_api);
        m_library->end(api);
        m_library->destroy(api);
    }
}

bool TesseractRecognizer::load() {
    const std::lock_guard lock(m_mutex);
    return loadLocked();
}

bool TesseractRecognizer::loadLocked() {
    if (m_api || m_failed)
        return m_api != nullptr;
    const Library& tess = *m_library;
    TessBaseAPI* api = tess.create();
    if (!api || tess.init(api, m_dataPath.toLocal8Bit().constData(), m_language.toLatin1().constData(),
                          tesseract::OEM_LSTM_ONLY) != 0) {
        if (api)
            tess.destroy(api);
        m_failed = true;
        return false;
    }
    // Its notes ("Estimating resolution as …") are of no use to a user.
    tess.setVariable(api, "debug_file", "/dev/null");
    // A screen's text is scattered over it in short runs; sparse-text segmentation finds them all
    // where page layout analysis would merge columns or drop lone words.
    tess.setPageSegMode(api,
                        m_layout == Layout::page ? tesseract::PSM_SPARSE_TEXT : tesseract::PSM_SINGLE_LINE);
    // Local (Sauvola) thresholds: with one threshold for the whole band, a dark panel beside the
    // control makes grey text, such as a disabled label, vanish into the background.
    tess.setVariable(api, "thresholding_method", "2");
    m_api = api;
    return true;
}

QList<ScreenWord> TesseractRecognizer::words(const QImage& picture, Clock::time_point deadline) {
    const std::lock_guard lock(m_mutex);
    if (picture.isNull() || !loadLocked() || Clock::now() >= deadline)
        return {};
    const Library& tess = *m_library;
    auto* api = static_cast<TessBaseAPI*>(m_api);

    // With OpenMP, Tesseract spreads each line over a team of threads that spin while they wait;
    // beside the rest of a click's work on a desktop's few cores that is many times slower than
    // reading on this thread alone. Parallel regions started here then run on this thread.
    if (tess.setMaxActiveLevels)
        tess.setMaxActiveLevels(0);

    const QImage gray = picture.convertToFormat(QImage::Format_Grayscale8);
    tess.setImage(api, gray.constBits(), gray.width(), gray.height(), 1, int(gray.bytesPerLine()));
    const int dotsPerInch = qRound(gray.dotsPerMeterX() * 0.0254);
    if (dotsPerInch >= 70)
        tess.setSourceResolution(api, dotsPerInch);

    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    const std::unique_ptr<ETEXT_DESC, decltype(tess.deleteMonitor)> monitor(tess.createMonitor(),
                                                                            tess.deleteMonitor);
    tess.setDeadline(monitor.get(), int(std::max<qint64>(1, left)));
    if (tess.recognize(api, monitor.get()) != 0)
        return {};

    QList<ScreenWord> words;
    TessResultIterator* at = tess.iterator(api);
    if (!at)
        return words;
    QList<ScreenWord> symbols;
    ScreenWord word;
    const auto finishWord = [&] {
        if (!symbols.isEmpty())
            words.append(withoutMarks(word, symbols));
        symbols.clear();
    };
    const auto read = [&](TessPageIteratorLevel level) {
        ScreenWord item;
        char* text = tess.text(at, level);
        int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
        if (text && tess.boundingBox(tess.pageIterator(at), level, &x1, &y1, &x2, &y2))
            item = {QString::fromUtf8(text), QRectF(QPointF(x1, y1), QPointF(x2, y2)),
                    double(tess.confidence(at, level))};
        if (text)
            tess.deleteText(text);
        return item;
    };
    do {
        if (tess.isAtBeginningOf(tess.pageIterator(at), tesseract::RIL_WORD)) {
            finishWord();
            word = read(tesseract::RIL_WORD);
        }
        symbols.append(read(tesseract::RIL_SYMBOL));
    } while (tess.next(at, tesseract::RIL_SYMBOL));
    finishWord();
    tess.deleteIterator(at);
    return words;
}

} // namespace trovix
