#pragma once

#include "recorder/ScreenText.h"

#include <QLocale>
#include <QString>

#include <memory>
#include <mutex>

namespace trovix {

// Text recognition with the system's Tesseract, loaded when first needed and kept loaded: its
// model takes a noticeable time to read, a line of text takes milliseconds. The library is opened
// at run time, so that a system without it (or without its language data) simply reads nothing.
// Callable from any thread; recognitions run one at a time.
class TesseractRecognizer : public TextRecognizer {
public:
    // What a picture holds: about one line of text (a control's label), or a whole screen of it.
    enum class Layout { line, page };

    // A recogniser for the locale's language where its data is installed, else English; null when
    // Tesseract or both kinds of data are missing.
    static std::unique_ptr<TesseractRecognizer> create(const QLocale& locale = QLocale::system(),
                                                       Layout layout = Layout::line);
    ~TesseractRecognizer() override;

    // The language data in use ("eng", "deu").
    QString language() const { return m_language; }
    // Loads the engine now rather than on the first picture; false when it cannot be loaded.
    bool load();

    QList<ScreenWord> words(const QImage& picture, Clock::time_point deadline) override;

private:
    struct Library;
    TesseractRecognizer(std::shared_ptr<const Library> library, QString dataPath, QString language,
                        Layout layout);
    bool loadLocked();

    std::shared_ptr<const Library> m_library;
    QString m_dataPath;
    QString m_language;
    Layout m_layout = Layout::line;
    std::mutex m_mutex;
    void* m_api = nullptr; // the engine, once loaded
    bool m_failed = false;
};

} // namespace trovix
