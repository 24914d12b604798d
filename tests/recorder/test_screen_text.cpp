// The label nearest a click, read with the system's Tesseract off a saved screenshot of
// gtk3-widget-factory (tests/recorder/data/widgets.png, 1 pixel per point).
#include "platform/ocr/TesseractRecognizer.h"
#include "recorder/ScreenText.h"

#include <QFile>
#include <QTest>

using namespace trovix;
using namespace std::chrono_literals;

class ScreenTextTest : public QObject {
    Q_OBJECT
private:
    QString labelAt(QPointF click, const std::optional<QRectF>& frame = std::nullopt) {
        const auto label =
            ScreenText::read(*m_recognizer, m_shot, click, frame, 1.0, ScreenText::Clock::now() + 10s);
        return label.value_or(QStringLiteral("(none)"));
    }

    std::unique_ptr<TesseractRecognizer> m_recognizer;
    QImage m_shot;

private Q_SLOTS:
    void initTestCase() {
        m_recognizer = TesseractRecognizer::create(QLocale(QLocale::English));
        QVERIFY2(m_recognizer, "Tesseract or its English data is not installed");
        QVERIFY(m_shot.load(qEnvironmentVariable("TROVIX_SOURCE_DIR") + "/tests/recorder/data/widgets.png"));
    }

    void nearestWordsOnTheClickedLine() {
        QCOMPARE(labelAt({23, 57}), "checkbutton");   // on a check box: its label beside it
        QCOMPARE(labelAt({130, 281}), "page 2");      // a tab among tabs: only its own words
        QCOMPARE(labelAt({440, 152}), "link button"); // both words of a two-word label
        QCOMPARE(labelAt({180, 114}), "radiobutton"); // between two labels: the nearer
    }

    void iconsAndEmptySpaceHaveNoLabel() {
        QCOMPARE(labelAt({213, 20}), "(none)");  // "+" button: "50" beside it is too far away
        QCOMPARE(labelAt({515, 108}), "(none)"); // folder icon
        QCOMPARE(labelAt({300, 110}), "(none)");
    }

    void frameBoundsTheWords() {
        QCOMPARE(labelAt({500, 108}, QRectF(389, 92, 144, 33)), "(None)");
        // A frame around the check box alone leaves its label outside.
        QCOMPARE(labelAt({23, 86}, QRectF(14, 77, 18, 18)), "(none)");
    }

    void languageDataFollowsTheLocale() {
        QCOMPARE(m_recognizer->language(), "eng");
        QCOMPARE(TesseractRecognizer::create(QLocale(QLocale::Finnish))->language(), "eng");
        if (QFile::exists("/usr/share/tesseract-ocr/5/tessdata/deu.traineddata"))
            QCOMPARE(TesseractRecognizer::create(QLocale(QLocale::German))->language(), "deu");
        qputenv("TESSDATA_PREFIX", "/nonexistent");
        QVERIFY(!TesseractRecognizer::create());
        qunsetenv("TESSDATA_PREFIX");
    }
};

QTEST_GUILESS_MAIN(ScreenTextTest)
#include "test_screen_text.moc"
