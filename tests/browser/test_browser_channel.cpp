// The way from the browser to the recorder without a browser: the messages the host and Trovix read,
// the real trovix-browser-host between a scripted browser and a real BrowserClickSource, and the
// session monitor that merges the pages' clicks with the desktop's.
#include "platform/browser/BrowserChannel.h"
#include "platform/browser/BrowserClickSource.h"
#include "platform/browser/PageMessage.h"
#include "platform/browser/SessionClickMonitor.h"
#include "support/TestFiles.h"

#include <QElapsedTimer>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

using namespace trovix;

namespace {

QByteArray png(QSize size) {
    return testing::encoded(testing::flat(size.width(), size.height(), Qt::red));
}

QJsonObject click(qint64 id, const QByteArray& picture,
                  QJsonValue frame = QJsonObject{{"x", 10}, {"y", 5}, {"width", 20}, {"height", 10}}) {
    return {{"type", "click"},
            {"id", double(id)},
            {"label", "Save"},
            {"page", "Editor"},
            {"x", 15},
            {"y", 8},
            {"scale", 2},
            {"frame", frame},
            {"picture", QString::fromLatin1("data:image/png;base64," + picture.toBase64())}};
}

QByteArray json(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

class ScriptedDesktop : public ClickMonitor {
public:
    QString reason;
    Handler handler;
    QString unavailableReason() const override { return reason; }
    std::unique_ptr<QObject> watch(Handler click, LostHandler, QString*) override {
        handler = std::move(click);
        return std::make_unique<QObject>();
    }
};

} // namespace

class TestBrowserChannel : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // Each message is taken whole or refused with the reason, and a stream cut anywhere still
    // yields the same messages; one too large is skipped without being kept.
    void messages_takenWholeOrRefused() {
        const QByteArray picture = png(QSize(80, 40));
        const PageMessage::Parsed good = PageMessage::parse(json(click(7, picture)));
        QVERIFY2(good.message, qPrintable(good.error));
        QCOMPARE(good.message->pictureSize, QSize(80, 40));
        QCOMPARE(good.message->frame, std::optional(QRectF(10, 5, 20, 10)));
        QCOMPARE(good.message->label, QStringLiteral("Save"));
        QVERIFY(PageMessage::parse(json(click(7, picture, QJsonValue::Null))).message->frame == std::nullopt);
        QVERIFY(good.message->passwordFields.isEmpty());
        // Password fields: what shows of them in the picture (40×20 CSS pixels at scale 2).
        QJsonObject withFields = click(7, picture);
        withFields.insert("passwords",
                          QJsonArray{QJsonObject{{"x", 2}, {"y", 3}, {"width", 10}, {"height", 4}},
                                     QJsonObject{{"x", 35}, {"y", 15}, {"width", 20}, {"height", 9}},
                                     QJsonObject{{"x", 50}, {"y", 1}, {"width", 5}, {"height", 5}}});
        QCOMPARE(PageMessage::parse(json(withFields)).message->passwordFields,
                 (QList<QRectF>{QRectF(2, 3, 10, 4), QRectF(35, 15, 5, 5)}));
        // The picture is read off the text in place when written plainly, and the general way otherwise.
        const QByteArray spaced = json(click(7, picture)).replace("\"picture\":", "\"picture\" :");
        QCOMPARE(PageMessage::parse(spaced).message->png, good.message->png);
        // A plain picture key inside the frame is not the click's picture.
        QJsonObject frame{{"x", 10}, {"y", 5}, {"width", 20}, {"height", 10}};
        frame.insert("picture", QString::fromLatin1("data:image/png;base64," + picture.toBase64()));
        QByteArray nested = json(click(7, picture, frame));
        QVERIFY(PageMessage::parse(nested).message);
        nested.insert(nested.lastIndexOf("\"picture\":") + 10, ' ');
        QVERIFY(PageMessage::parse(nested).error.contains("not where its text says"));

        for (const auto& [message, says] :
             {std::pair<QByteArray, QString>{"{\"type\":\"click\",", "not valid JSON"},
              {json({{"type", "press"}, {"id", -1}}), "needs a whole, non-negative"},
              {json(click(1, QByteArray(picture).replace(12, 4, "IDAT"))), "not a PNG"},
              {json(click(1, picture, QJsonObject{{"x", 30}, {"y", 5}, {"width", 20}, {"height", 10}})),
               "outside"},
              {json(click(1, png(QSize(20, 10)))), "outside its 20×10 picture"}}) {
            const PageMessage::Parsed parsed = PageMessage::parse(message);
            QVERIFY2(!parsed.message && parsed.error.contains(says), qPrintable(parsed.error));
        }
        QCOMPARE(PageMessage::parse(json(click(9, "x"))).id, std::optional<qint64>(9));
        // The end of typing: the field's text, or for a password field no text at all.
        QJsonObject typed = click(7, picture);
        typed.insert("typing", QJsonObject{{"password", false}, {"text", "Grüße"}});
        QCOMPARE(PageMessage::parse(json(typed)).message->typed->text, std::optional<QString>("Grüße"));
        typed.insert("typing", QJsonObject{{"password", true}, {"text", "secret"}});
        QVERIFY(PageMessage::parse(json(typed)).error.contains("carries no text"));
        QVERIFY(PageMessage::parse(json({{"type", "press"}, {"id", 1}, {"typing", true}})).message->typing);

        QByteArray stream = PageMessage::frame(json({{"type", "press"}, {"id", 1}}));
        QByteArray huge(4, Qt::Uninitialized);
        const quint32 tooLong = quint32(PageMessage::maxBytes + 1);
        std::memcpy(huge.data(), &tooLong, 4);
        stream += huge + QByteArray(qsizetype(tooLong), 'x');
        stream += PageMessage::frame(json({{"type", "lost"}, {"id", 1}}));
        // Cut byte by byte around the edges of the oversized message, in large pieces through it.
        const qsizetype hugeAt = PageMessage::frame(json({{"type", "press"}, {"id", 1}})).size();
        QList<qsizetype> everyByte, cuts;
        for (qsizetype at = 0; at < stream.size(); ++at)
            if (at < hugeAt + 16 || at > stream.size() - 64)
                everyByte.append(at);
        for (qsizetype at = 0; at < stream.size(); at += 1 << 20)
            cuts.append(at);
        for (QList<qsizetype> pieces :
             {everyByte, cuts, QList<qsizetype>{0, hugeAt + 2, stream.size() - 3}}) {
            pieces.append(stream.size());
            std::sort(pieces.begin(), pieces.end());
            pieces.erase(std::unique(pieces.begin(), pieces.end()), pieces.end());
            PageMessage::FrameReader reader;
            QList<QByteArray> messages;
            int errors = 0;
            for (qsizetype i = 0; i + 1 < pieces.size(); ++i) {
                reader.append(stream.mid(pieces[i], pieces[i + 1] - pieces[i]));
                reader.takeAll([&messages](const QByteArray& message) { messages.append(message); },
                               [&errors](const QString&) { ++errors; });
            }
            QCOMPARE(messages.size(), 2);
            QCOMPARE(errors, 1);
            QVERIFY(messages.last().contains("lost"));
        }
    }

    // The host answers a browser by itself while Trovix is away, starts nothing, joins Trovix as soon
    // as it listens, passes on only the messages it checked, and refuses the rest without losing its
    // place in the stream; closing stdin ends it.
    void host_passesOnOnlyCheckedMessages() {
        QProcess host;
        host.start(qEnvironmentVariable("TROVIX_BINARY_DIR") + "/src/platform/browser/trovix-browser-host",
                   {"chrome-extension://test/"});
        QVERIFY(host.waitForStarted());
        PageMessage::FrameReader replies;
        auto reply = [&]() -> QJsonObject {
            QElapsedTimer timer;
            timer.start();
            while (timer.elapsed() < 10000) {
                if (std::optional<QByteArray> message = replies.next())
                    return QJsonDocument::fromJson(*message).object();
                QTest::qWait(20); // Trovix's side of the socket is in this process
                replies.append(host.readAllStandardOutput());
            }
            return {};
        };
        auto send = [&](const QByteArray& message) { host.write(PageMessage::frame(message)); };
        QCOMPARE(reply(), (QJsonObject{{"type", "trovix"}, {"running", false}}));
        send(json({{"type", "press"}, {"id", 1}}));
        QCOMPARE(reply().value("reason").toString(), QStringLiteral("Trovix is not running."));

        BrowserClickSource source;
        QVERIFY2(source.error().isEmpty(), qPrintable(source.error()));
        QSignalSpy pressed(&source, &BrowserClickSource::pressed);
        QSignalSpy clicked(&source, &BrowserClickSource::clicked);
        QSignalSpy lost(&source, &BrowserClickSource::lost);
        QCOMPARE(reply(), (QJsonObject{{"type", "trovix"}, {"running", true}}));
        QCOMPARE(reply(), (QJsonObject{{"type", "recording"}, {"on", false}}));
        QVERIFY(source.isConnected());
        source.setRecording(true);
        QCOMPARE(reply(), (QJsonObject{{"type", "recording"}, {"on", true}}));

        const QByteArray picture = png(QSize(80, 40));
        send(json({{"type", "hello"}, {"browser", "test"}}));
        send(json({{"type", "press"}, {"id", 2}}));
        send(json(click(2, picture)));
        QTRY_COMPARE(clicked.size(), 1);
        const PageClick page = clicked.first().at(1).value<PageClick>();
        QCOMPARE(page.picture.size(), QSize(80, 40));
        QCOMPARE(page.scale, 2.0);
        QCOMPARE(page.position, QPointF(15, 8));
        QCOMPARE(page.label, QStringLiteral("Save"));
        QCOMPARE(page.page, QStringLiteral("Editor"));
        // The host's parent is the browser; typing ends with a press of its own kind.
        QCOMPARE(source.browserProcesses(), QList<qint64>{QCoreApplication::applicationPid()});
        QVERIFY(BrowserClickSource::isBrowserProcess(host.processId(), source.browserProcesses()));
        QVERIFY(!BrowserClickSource::isBrowserProcess(1, source.browserProcesses()));
        QSignalSpy typingEnded(&source, &BrowserClickSource::typingEnded);
        send(json({{"type", "press"}, {"id", 6}, {"typing", true}}));
        QJsonObject typed = click(6, picture);
        typed.insert("typing", QJsonObject{{"password", true}});
        send(json(typed));
        QTRY_COMPARE(clicked.size(), 2);
        QCOMPARE(typingEnded.size(), 1);
        QVERIFY(clicked.last().at(1).value<PageClick>().typing->password);

        send("{\"type\": \"press\", \"id\": 3");
        QVERIFY(reply().value("reason").toString().contains("not valid JSON"));
        send(json({{"type", "press"}, {"id", 4}}));
        send(json(click(4, picture, QJsonObject{{"x", 70}, {"y", 0}, {"width", 20}, {"height", 10}})));
        const QJsonObject refusal = reply();
        QCOMPARE(refusal.value("id").toInt(), 4);
        QVERIFY(refusal.value("reason").toString().contains("outside"));
        QTRY_COMPARE(lost.size(), 1);
        QByteArray huge(4, Qt::Uninitialized);
        const quint32 tooLong = quint32(PageMessage::maxBytes + 1);
        std::memcpy(huge.data(), &tooLong, 4);
        host.write(huge + QByteArray(qsizetype(tooLong), ' '));
        QVERIFY(reply().value("reason").toString().contains("larger than"));
        send(json({{"type", "press"}, {"id", 5}}));
        QTRY_COMPARE_WITH_TIMEOUT(pressed.size(), 3, 60000); // after 64 MB through a pipe
        QCOMPARE(clicked.size(), 2);

        host.closeWriteChannel();
        QVERIFY(host.waitForFinished(10000));
        QCOMPARE(host.exitCode(), 0);
        QTRY_VERIFY(!source.isConnected());
        QCOMPARE(lost.size(), 2); // press 5 went with its host
    }

    // Where the desktop and a page both see a press, the page's click is the one step; clicks keep
    // the order they were made in, whichever source is slower.
    void session_oneStepPerClickInOrder() {
        BrowserClickSource browser;
        ScriptedDesktop desktop;
        SessionClickMonitor monitor(browser, [&desktop]() -> ClickMonitor& { return desktop; });
        QLocalSocket extension;
        extension.connectToServer(BrowserChannel::socketPath());
        QTRY_VERIFY(browser.isConnected());

        QStringList steps;
        QString lostReason;
        std::unique_ptr<QObject> watch = monitor.watch(
            [&steps](const PlatformClick& click) {
                steps.append(click.page ? click.page->label
                                        : QStringLiteral("desktop %1").arg(click.nativePosition.x()));
            },
            [&lostReason](const QString& reason) { lostReason = reason; });
        QVERIFY(watch && browser.isRecording());
        auto page = [](const QString& label) {
            PageClick click;
            click.picture = QImage(10, 10, QImage::Format_RGB32);
            click.label = label;
            return click;
        };
        auto desktopClick = [&desktop](int x) { desktop.handler(PlatformClick{QPoint(x, 0), {}, {}}); };

        // The desktop first, then the page.
        desktopClick(1);
        QTest::qWait(50);
        Q_EMIT browser.pressed(1);
        Q_EMIT browser.clicked(1, page("A"));
        // The page first, then the desktop.
        Q_EMIT browser.pressed(2);
        desktopClick(2);
        // A click outside the pages, held for a moment and then kept, after the press made before it.
        QElapsedTimer held;
        held.start();
        desktopClick(3);
        Q_EMIT browser.clicked(2, page("B"));
        QCOMPARE(steps, (QStringList{"A", "B"}));
        QTRY_COMPARE(steps, (QStringList{"A", "B", "desktop 3"}));
        QVERIFY(held.elapsed() >= SessionClickMonitor::holdMs - 20);
        // A press whose picture is late holds back what came after it; a press given up does not.
        Q_EMIT browser.pressed(4);
        QTest::qWait(SessionClickMonitor::holdMs + 100);
        desktopClick(5);
        Q_EMIT browser.pressed(6);
        QTest::qWait(SessionClickMonitor::holdMs + 100);
        Q_EMIT browser.lost(4);
        Q_EMIT browser.clicked(6, page("C"));
        QCOMPARE(steps, (QStringList{"A", "B", "desktop 3", "C"}));
        // The end of typing in a page is no press the desktop saw: a desktop click beside it stays.
        Q_EMIT browser.typingEnded(7);
        desktopClick(8);
        Q_EMIT browser.clicked(7, page("typed"));
        QTRY_COMPARE(steps, (QStringList{"A", "B", "desktop 3", "C", "typed", "desktop 8"}));
        watch.reset();
        QVERIFY(!browser.isRecording());
        QVERIFY(lostReason.isEmpty());

        // A desktop that shows no clicks: recording rests on the browser alone.
        desktop.reason = QStringLiteral("No clicks here.");
        QCOMPARE(monitor.unavailableReason(), QString());
        QVERIFY(monitor.browserOnlyNote().contains("browser only"));
        watch = monitor.watch([&steps](const PlatformClick&) { steps.append("late"); },
                              [&lostReason](const QString& reason) { lostReason = reason; });
        QVERIFY(watch);
        QSignalSpy changed(&monitor, &SessionClickMonitor::availabilityChanged);
        extension.disconnectFromServer();
        QTRY_COMPARE(changed.size(), 1);
        QCOMPARE(monitor.unavailableReason(), desktop.reason);
        QVERIFY(lostReason.contains("browser extension disconnected"));
        QVERIFY(!monitor.watch([](const PlatformClick&) {}, {}));
    }
};

QTEST_MAIN(TestBrowserChannel)
#include "test_browser_channel.moc"
