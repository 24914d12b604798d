// Faults a user can meet with the real trovix executable: folders that vanish, a full disk, read-only
// places, damaged guide folders. Each case checks what the user is told, that the application goes
// on working, and that the guide in memory survives whole (saved somewhere good and read back).
//
// The full and read-only places are real mounts (tmpfs, read-only bind mounts): the tests run as
// root, whom file permissions do not stop. They are made in a private mount namespace that this
// program enters before anything else, so nothing is left mounted on the machine even after a crash.

#include "DesktopDriver.h"
#include "support/HostileFolders.h"

#include "document/GuideStore.h"
#include "library/Library.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QPainter>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <memory>

using namespace trovix;
using namespace trovix::desktop;

namespace {

// Why the private mount namespace could not be made; empty when it was.
QString namespaceError;

void enterPrivateMountNamespace() {
    // Must happen while the process still has one thread: unsharing the mount namespace also
    // unshares the file-system attributes, which a threaded process cannot do.
    if (::unshare(CLONE_NEWNS) != 0) {
        namespaceError = QStringLiteral("unshare(CLONE_NEWNS) failed: %1 (the test needs root or "
                                        "CAP_SYS_ADMIN to mount a full and a read-only file system)")
                             .arg(QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        namespaceError = QStringLiteral("making / private in the new mount namespace failed: %1")
                             .arg(QString::fromLocal8Bit(std::strerror(errno)));
}

// A mount made for one test; undone when this goes away.
class Mount {
public:
    // A tmpfs of `kilobytes` at `path`.
    static std::unique_ptr<Mount> tmpfs(const QString& path, int kilobytes, QString* error) {
        QDir().mkpath(path);
        auto mount = std::unique_ptr<Mount>(new Mount(path));
        const QByteArray options = "size=" + QByteArray::number(kilobytes) + "k";
        return mount->mount("tmpfs", "tmpfs", 0, options.constData(), error) ? std::move(mount) : nullptr;
    }

    // `path` (an existing folder) made read-only in place, with everything it holds.
    static std::unique_ptr<Mount> readOnly(const QString& path, QString* error) {
        auto mount = std::unique_ptr<Mount>(new Mount(path));
        if (!mount->mount(mount->m_path.constData(), nullptr, MS_BIND | MS_REC, nullptr, error) ||
            !mount->mount(nullptr, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr, error))
            return nullptr;
        return mount;
    }

    // A file system at `path` (an existing folder) whose server never answers, as a network mount
    // does when its server is gone: every look inside it waits until the mount goes away.
    static std::unique_ptr<Mount> hung(const QString& path, QString* error) {
        auto mount = std::unique_ptr<Mount>(new Mount(path));
        mount->m_fuse = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);
        if (mount->m_fuse < 0) {
            *error = QStringLiteral("opening /dev/fuse failed: %1")
                         .arg(QString::fromLocal8Bit(std::strerror(errno)));
            return nullptr;
        }
        const QByteArray options =
            "fd=" + QByteArray::number(mount->m_fuse) + ",rootmode=40000,user_id=0,group_id=0";
        return mount->mount("trovix-hung", "fuse", 0, options.constData(), error) ? std::move(mount)
                                                                                  : nullptr;
    }

    ~Mount() {
        ::umount2(m_path.constData(), MNT_DETACH);
        if (m_fuse >= 0)
            ::close(m_fuse); // whatever still waits inside is told the server is gone
    }

private:
    explicit Mount(const QString& path)
        : m_path(QFile::encodeName(path)) {}

    bool mount(const char* source, const char* type, unsigned long flags, const char* options,
               QString* error) {
        if (::mount(source, m_path.constData(), type, flags, options) == 0)
            return true;
        *error = QStringLiteral("mounting on %1 failed: %2")
                     .arg(QString::fromLocal8Bit(m_path), QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }

    QByteArray m_path;
    int m_fuse = -1;
};

// A step picture with some structure and a few marks of every sort of data an annotation holds.
Step markedStep(const QString& title, int hue, const QString& note = {}) {
    QImage image(640, 400, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor::fromHsv(hue, 40, 245));
    QPainter painter(&image);
    painter.fillRect(QRect(0, 0, 640, 32), QColor::fromHsv(hue, 160, 120));
    painter.fillRect(QRect(400, 300, 160, 50), QColor::fromHsv(hue, 200, 200));
    painter.end();
    QList<Annotation> marks;
    marks.append(Annotation{Kind::rect, QPointF(12.5, 20), QPointF(150, 90.25), {}, 0});
    marks.append(Annotation{Kind::text, QPointF(30, 140), QPointF(30, 140),
                            QStringLiteral("Click “%1”").arg(title), 0});
    marks.append(Annotation{Kind::step, QPointF(200, 60), QPointF(200, 60), {}, hue % 7 + 1});
    return Step::make(Image(image), 2, title, marks, note);
}

// A step whose PNG alone is over 2 MB: noise does not compress.
Step noisyStep(const QString& title) {
    QImage image(900, 800, QImage::Format_RGB32);
    QRandomGenerator random(42);
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            line[x] = 0xff000000u | (random.generate() & 0xffffffu);
    }
    return Step::make(Image(image), 1, title,
                      {Annotation{Kind::ring, QPointF(40, 40), QPointF(80, 80), {}, 0}});
}

// Leaves the working copy as a previous run would have: these steps, unsaved.
void writeWorkingCopy(const QString& title, const QList<Step>& steps) {
    QDir(GuideStore::workingDir()).removeRecursively();
    Guide guide;
    guide.replaceContents(title, steps, {});
    guide.setDirty(true);
    GuideStore::write(guide, GuideStore::workingDir(), true);
}

void writeGuide(const QString& folder, const QString& title, const QList<Step>& steps) {
    Guide guide;
    guide.replaceContents(title, steps, {});
    GuideStore::write(guide, folder, false);
}

// Empty when `folder` holds exactly this guide: every step, its title, note, scale and marks.
QString compareGuide(const QString& folder, const QString& title, const QList<Step>& steps) {
    LoadedGuide loaded;
    try {
        loaded = GuideStore::read(folder);
    } catch (const std::exception& e) {
        return QStringLiteral("reading %1 failed: %2").arg(folder, QString::fromUtf8(e.what()));
    }
    if (loaded.title != title)
        return QStringLiteral("title %1, expected %2").arg(loaded.title, title);
    if (loaded.steps.size() != steps.size())
        return QStringLiteral("%1 steps, expected %2").arg(loaded.steps.size()).arg(steps.size());
    for (qsizetype i = 0; i < steps.size(); ++i) {
        const Step &a = loaded.steps[i], &b = steps[i];
        if (a.id != b.id || a.title != b.title || a.note != b.note || a.scale != b.scale)
            return QStringLiteral("step %1 is “%2” (%3), expected “%4” (%5)")
                .arg(i + 1)
                .arg(a.title, a.id.toString(), b.title, b.id.toString());
        if (a.annotations != b.annotations)
            return QStringLiteral("step %1's marks differ").arg(i + 1);
        if (a.base.pixels().size() != b.base.pixels().size())
            return QStringLiteral("step %1's picture changed size").arg(i + 1);
    }
    return {};
}

QString alertWindow() {
    return waitForWindow(QStringLiteral("^Trovix$"), 20000);
}

// Waits for an alert showing both texts (the informative one may go on after what is given) and
// answers it with its default button; empty when it went so, else what was wrong.
QString answerAlert(qint64 pid, const QString& message, const QString& informative = {}) {
    const QString window = alertWindow();
    if (window.isEmpty())
        return QStringLiteral("no alert appeared; the application shows: ") + accessibleNames(pid).join(u'|');
    const auto shows = [pid](const QString& text, bool prefix) {
        const auto matches = [&](const QString& n) { return prefix ? n.startsWith(text) : n == text; };
        return waitUntil([&] { return findAccessible(pid, matches).has_value(); }, 10000, 200);
    };
    const std::pair<QString, bool> texts[] = {{message, false}, {informative, true}};
    for (const auto& [text, prefix] : texts)
        if (!text.isEmpty() && !shows(text, prefix))
            return QStringLiteral("the alert does not say “%1”; it shows: %2")
                .arg(text, accessibleNames(pid).join(u'|'));
    screenshot(QStringLiteral("alert-") + QString::number(QDateTime::currentMSecsSinceEpoch()));
    activate(window);
    key(QStringLiteral("Return"));
    // By its window, not its title: another alert may follow at once under the same title.
    if (!waitUntil([&] { return !isViewable(window); }, 15000))
        return QStringLiteral("the alert did not close");
    return {};
}

// The library card of the guide with this title, where it shows on screen; empty when none does.
QRect libraryCard(qint64 pid, const QString& title) {
    for (const AccessibleNode& node : accessibleNodes(pid))
        if (node.role == QLatin1String("list item") && node.name == title && node.showing)
            return node.rect;
    return {};
}

} // namespace

// Passes when the check's account of what went wrong is empty.
#define QVERIFY_EMPTY(check)                                                                                 \
    do {                                                                                                     \
        const QString problem_ = (check);                                                                    \
        QVERIFY2(problem_.isEmpty(), qPrintable(problem_));                                                  \
    } while (false)

class FaultsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Running> m_app;
    QString m_window;

    // Starts trovix and waits for its main window, titled after `title` (with the edited mark when
    // `dirty`); false when it did not show.
    [[nodiscard]] bool launch(const QString& title, bool dirty, const QStringList& arguments = {}) {
        m_app = std::make_unique<Running>(arguments);
        m_window = waitForWindow(QStringLiteral("^") + QRegularExpression::escape(title) +
                                     (dirty ? QStringLiteral("\\*") : QString()) + QStringLiteral("($| — )"),
                                 30000);
        if (m_window.isEmpty())
            return false;
        activate(m_window);
        return true;
    }

    // The main window's title without the application's name: the guide's title, "*" when edited.
    QString documentTitle() { return windowTitle(m_window).section(QStringLiteral(" — "), 0, 0); }
    bool titleIs(const QString& title) { return documentTitle() == title; }

    // Saves through the real dialog, which `keys` bring up, as `path` (the extension is added);
    // false when no dialog came.
    [[nodiscard]] bool saveAs(const QString& path, const QString& keys = QStringLiteral("shift+ctrl+s")) {
        activate(m_window);
        key(keys);
        const QString dialog = waitForWindow(QStringLiteral("Save this guide"), 20000);
        if (dialog.isEmpty())
            return false;
        typeIntoFileDialog(dialog, path);
        return true;
    }

    // Empty when trovix still runs with its main window on screen.
    QString alive() {
        if (!m_app->isRunning())
            return m_app->crashed() ? QStringLiteral("trovix crashed")
                                    : QStringLiteral("trovix quit with exit code %1").arg(m_app->exitCode());
        if (!waitUntil([&] { return isViewable(m_window); }, 5000))
            return QStringLiteral("the main window is no longer on screen; visible windows: %1")
                .arg(xdotool({"search", "--onlyvisible", "--name", "."}).replace(u'\n', u' '));
        return {};
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(namespaceError.isEmpty(), qPrintable(namespaceError));
        QCoreApplication::setOrganizationName(QStringLiteral("Trovix"));
        QCoreApplication::setApplicationName(QStringLiteral("Trovix"));
        QVERIFY2(QFileInfo(trovixBinary()).isExecutable(), qPrintable(trovixBinary()));
        initAccessibility();
    }

    void cleanup() {
        if (QTest::currentTestFailed())
            screenshot(QStringLiteral("failed-") + QString::fromLatin1(QTest::currentTestFunction()));
        m_app.reset();
        QDir(GuideStore::workingDir()).removeRecursively();
    }

    void libraryFolderDeleted_cardGivesOpenAlert_openGuideSavesBack() {
        // The library holds the guide open in the main window and another one.
        const QString library = Library::folder();
        QDir(library).removeRecursively();
        QList<Step> mine{markedStep(QStringLiteral("First"), 200, QStringLiteral("a note")),
                         markedStep(QStringLiteral("Second"), 260)};
        writeGuide(library + "/Mine.trovix", QStringLiteral("Mine"), mine);
        writeGuide(library + "/Printer setup.trovix", QStringLiteral("Printer setup"),
                   {markedStep(QStringLiteral("Open Settings"), 30)});
        QVERIFY2(launch(QStringLiteral("Mine"), false, {library + "/Mine.trovix"}),
                 "the main window did not show the guide");

        key(QStringLiteral("shift+ctrl+l"));
        QVERIFY2(!waitForWindow(QStringLiteral("^Guides Library")).isEmpty(),
                 "the library window did not open");
        QRect card;
        QTRY_VERIFY_WITH_TIMEOUT(
            !(card = libraryCard(m_app->pid(), QStringLiteral("Printer setup"))).isEmpty(), 20000);

        QVERIFY(QDir(library).removeRecursively());
        xdotool(
            {"mousemove", "--sync", QString::number(card.center().x()), QString::number(card.center().y())});
        xdotool({"click", "--repeat", "2", "--delay", "80", "1"});
        QVERIFY_EMPTY(answerAlert(m_app->pid(), QStringLiteral("Couldn’t open “Printer setup.trovix”"),
                                  QStringLiteral("It doesn’t look like a valid Trovix file.\n\nThe file "
                                                 "“guide.json” in “Printer setup.trovix” couldn’t be opened "
                                                 "because there is no such file or folder.")));

        // The library window stays in front, and once listed again shows that nothing is left.
        const QRect refresh = findOnScreen(m_app->pid(), QStringLiteral("Refresh"));
        QVERIFY2(!refresh.isEmpty(), "no Refresh button");
        click(refresh);
        QVERIFY2(
            !findOnScreen(m_app->pid(), QStringLiteral("No saved guides yet")).isEmpty(),
            qPrintable(QStringLiteral("the library does not show its empty state; the front window is ") +
                       windowTitle(xdotool({"getactivewindow"}))));
        QVERIFY(!findOnScreen(m_app->pid(), QStringLiteral("Guides you save with Ctrl+S appear here."))
                     .isEmpty());

        // The open guide lost its folder but nothing else: an edit and Ctrl+S bring the folder back whole.
        QVERIFY_EMPTY(alive());
        QCOMPARE(documentTitle(), QStringLiteral("Mine"));
        activate(m_window);
        QVERIFY2(retype(m_app->pid(), QStringLiteral("Step title"), QStringLiteral("First of all")),
                 "no step title field");
        mine[0].title = QStringLiteral("First of all");
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Mine*")), 10000);
        key(QStringLiteral("ctrl+s"));
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Mine")), 20000);
        QVERIFY_EMPTY(compareGuide(library + "/Mine.trovix", QStringLiteral("Mine"), mine));
        // The save re-lists the library, which shows the guide again.
        QTRY_VERIFY_WITH_TIMEOUT(!libraryCard(m_app->pid(), QStringLiteral("Mine")).isEmpty(), 20000);
    }

    void fullDisk_saveFails_guideStaysDirtyAndSavesElsewhere() {
        QString error;
        const auto full = Mount::tmpfs(tmp("full"), 1024, &error);
        QVERIFY2(full, qPrintable(error));
        const QList<Step> steps{noisyStep(QStringLiteral("Noise")), markedStep(QStringLiteral("Marked"), 90)};
        writeWorkingCopy(QStringLiteral("Big"), steps);
        QVERIFY2(launch(QStringLiteral("Big"), true), "the main window did not show the guide");

        QVERIFY2(saveAs(tmp("full/Big"), QStringLiteral("ctrl+s")), "no save dialog");
        const QString message =
            QStringLiteral("The file “%1” in “Big.trovix” couldn’t be saved because there "
                           "isn’t enough space on the disk.")
                .arg(steps[0].imageName());
        QVERIFY_EMPTY(answerAlert(m_app->pid(), message));
        // Nothing half-written stays behind to fill the disk further.
        const QStringList left =
            QDir(tmp("full/Big.trovix")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        QVERIFY2(left.isEmpty(), qPrintable(QStringLiteral("left on the full disk: ") + left.join(u' ')));

        // Still unsaved and still without a folder: Ctrl+S asks where again.
        QVERIFY_EMPTY(alive());
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Big*")), 5000);
        QVERIFY2(saveAs(tmp("good/Big"), QStringLiteral("ctrl+s")), "no save dialog");
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Big")), 20000);
        QVERIFY_EMPTY(compareGuide(tmp("good/Big.trovix"), QStringLiteral("Big"), steps));
    }

    void readOnlyFolder_saveFails_fileStaysAndSaveAsWorks() {
        QList<Step> steps{markedStep(QStringLiteral("Open the lid"), 10, QStringLiteral("gently")),
                          markedStep(QStringLiteral("Press Start"), 120)};
        writeGuide(tmp("ro/Trip.trovix"), QStringLiteral("Trip"), steps);
        QVERIFY2(launch(QStringLiteral("Trip"), false, {tmp("ro/Trip.trovix")}),
                 "the main window did not show the guide");

        // An edit in the window: the first step's title.
        QVERIFY2(retype(m_app->pid(), QStringLiteral("Step title"), QStringLiteral("Lift the lid")),
                 "no step title field");
        steps[0].title = QStringLiteral("Lift the lid");
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Trip*")), 10000);

        QString error;
        const auto readOnly = Mount::readOnly(tmp("ro"), &error);
        QVERIFY2(readOnly, qPrintable(error));
        const QString message =
            QStringLiteral("The file “guide.json” in “Trip.trovix” couldn’t be saved because "
                           "the disk is read-only.");
        // Twice: the failed save left the guide pointing at its folder, so Ctrl+S goes there again
        // instead of asking where.
        for (int i = 0; i < 2; ++i) {
            activate(m_window);
            key(QStringLiteral("ctrl+s"));
            QVERIFY_EMPTY(answerAlert(m_app->pid(), message));
            QVERIFY_EMPTY(alive());
            QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Trip*")), 5000);
        }
        // Quitting asks to save; a save that fails again keeps the application and the guide.
        activate(m_window);
        key(QStringLiteral("ctrl+q"));
        // "Save", the default
        QVERIFY_EMPTY(answerAlert(m_app->pid(), QStringLiteral("Save changes to “Trip”?")));
        QVERIFY_EMPTY(answerAlert(m_app->pid(), message));
        QVERIFY_EMPTY(alive());
        QVERIFY(titleIs(QStringLiteral("Trip*")));

        QCOMPARE(
            readJson(tmp("ro/Trip.trovix/guide.json")).value("steps").toArray().at(0)["title"].toString(),
            QStringLiteral("Open the lid"));

        QVERIFY2(saveAs(tmp("good/Trip copy")), "no save dialog");
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Trip")), 20000);
        QVERIFY_EMPTY(compareGuide(tmp("good/Trip copy.trovix"), QStringLiteral("Trip"), steps));
    }

    void readOnlyWorkingCopy_editsAndSaveWorkSilently() {
        QList<Step> steps{markedStep(QStringLiteral("Plug in"), 300),
                          markedStep(QStringLiteral("Switch on"), 60)};
        writeWorkingCopy(QStringLiteral("Draft"), steps);
        const QByteArray before = [] {
            QFile file(GuideStore::workingDir() + "/guide.json");
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        }();
        QString error;
        const auto readOnly = Mount::readOnly(GuideStore::workingDir(), &error);
        QVERIFY2(readOnly, qPrintable(error));
        QVERIFY2(launch(QStringLiteral("Draft"), true), "the main window did not show the guide");

        QVERIFY2(retype(m_app->pid(), QStringLiteral("Step title"), QStringLiteral("Plug it in")),
                 "no step title field");
        steps[0].title = QStringLiteral("Plug it in");
        QVERIFY2(retype(m_app->pid(), QStringLiteral("Guide title"), QStringLiteral("Draft two")),
                 "no guide title field");
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Draft two*")), 10000);
        // Autosave runs a second after the last change; its failure must stay silent.
        QTest::qWait(2500);
        QVERIFY2(xdotool({"search", "--onlyvisible", "--name", "^Trovix$"}).isEmpty(), "an alert appeared");
        QVERIFY_EMPTY(alive());

        QVERIFY2(saveAs(tmp("good/Draft"), QStringLiteral("ctrl+s")), "no save dialog");
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Draft two")), 20000);
        QVERIFY_EMPTY(compareGuide(tmp("good/Draft.trovix"), QStringLiteral("Draft two"), steps));
        QTest::qWait(1500);
        QVERIFY2(xdotool({"search", "--onlyvisible", "--name", "^Trovix$"}).isEmpty(), "an alert appeared");
        QFile file(GuideStore::workingDir() + "/guide.json");
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), before);
    }

    void hostileLibrary_listsAndOpensTheGoodGuide_quitDoesNotWaitForAHungFolder() {
        const QString library = Library::folder();
        QDir(library).removeRecursively();
        QVERIFY(QDir().mkpath(library + "/Hung.trovix"));
        const QList<testing::HostileFolder> cases =
            testing::makeHostileFolders(library, [&](const QString& folder) {
                const Step step = markedStep(QStringLiteral("Only"), 100);
                writeGuide(folder, QFileInfo(folder).completeBaseName(), {step});
                return step.imageName();
            });
        const auto zeroPicture =
            std::find_if(cases.begin(), cases.end(), [](const testing::HostileFolder& c) {
                return c.name == QLatin1String("Zero picture");
            });
        QVERIFY(zeroPicture != cases.end());
        writeGuide(library + "/Good.trovix", QStringLiteral("Good"),
                   {markedStep(QStringLiteral("Fine"), 30)});
        QString error;
        const auto hung = Mount::hung(library + "/Hung.trovix", &error);
        QVERIFY2(hung, qPrintable(error));

        QVERIFY2(launch(QStringLiteral("Untitled guide"), false), "the main window did not show");
        key(QStringLiteral("shift+ctrl+l"));
        QVERIFY2(!waitForWindow(QStringLiteral("^Guides Library")).isEmpty(),
                 "the library window did not open");
        QTRY_VERIFY_WITH_TIMEOUT(!libraryCard(m_app->pid(), QStringLiteral("Good")).isEmpty(), 20000);

        // Each unreadable folder gets a card; opening it says why, without reading it again.
        const auto openCard = [&](const QString& title) {
            if (!retype(m_app->pid(), QStringLiteral("Search guides"), title))
                return QStringLiteral("no search field");
            QRect card;
            if (!waitUntil([&] { return !(card = libraryCard(m_app->pid(), title)).isEmpty(); }, 30000, 200))
                return QStringLiteral("no card “%1”: %2")
                    .arg(title, accessibleNames(m_app->pid()).join(u'|'));
            moveTo(card.center());
            xdotool({"click", "--repeat", "2", "--delay", "80", "1"});
            return QString();
        };
        const QString couldNot = QStringLiteral("Couldn’t open “%1.trovix”");
        // A picture that is a link to /dev/zero shows only when the guide is opened.
        const std::pair<QString, QString> cards[] = {
            {QStringLiteral("Hung"),
             QStringLiteral("The folder “Hung.trovix” didn’t answer within 5 seconds: the disk "
                            "it is on may be slow or no longer connected.")},
            {QStringLiteral("Pipe record"),
             QStringLiteral("The file “guide.json” in “Pipe record.trovix” couldn’t be opened because "
                            "it is not a regular file.")},
            {QStringLiteral("Zero picture"),
             QStringLiteral("It doesn’t look like a valid Trovix file.\n\nThe guide in “Zero "
                            "picture.trovix” couldn’t be opened because the picture of step 1 (“%1”) "
                            "couldn’t be read because it is not a regular file.")
                 .arg(zeroPicture->file)}};
        for (const auto& [title, why] : cards) {
            QVERIFY_EMPTY(openCard(title));
            QVERIFY_EMPTY(answerAlert(m_app->pid(), couldNot.arg(title), why));
        }
        QVERIFY_EMPTY(openCard(QStringLiteral("Good")));
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Good")), 20000);

        // A thread of the scan still waits inside the hung folder, and will for ever: Trovix ends all
        // the same.
        activate(m_window);
        QElapsedTimer quitting;
        quitting.start();
        key(QStringLiteral("ctrl+q"));
        QVERIFY2(m_app->waitForExit(10000), "trovix did not quit");
        qInfo("trovix ended %lld ms after Ctrl+Q", quitting.elapsed());
        QCOMPARE(m_app->exitCode(), 0);
        QVERIFY(!m_app->crashed());
    }

    void truncatedStepImage_openFails_openGuideUnchanged() {
        const QList<Step> broken{markedStep(QStringLiteral("Fine"), 150),
                                 markedStep(QStringLiteral("Cut"), 210)};
        writeGuide(tmp("X.trovix"), QStringLiteral("Broken"), broken);
        {
            QFile png(tmp("X.trovix/") + broken[1].imageName());
            QVERIFY(png.open(QIODevice::ReadWrite));
            QVERIFY(png.resize(png.size() / 2));
        }
        const QList<Step> steps{markedStep(QStringLiteral("Keep me"), 20, QStringLiteral("and my note")),
                                markedStep(QStringLiteral("And me"), 40)};
        writeWorkingCopy(QStringLiteral("Before"), steps);
        QVERIFY2(launch(QStringLiteral("Before"), true), "the main window did not show the guide");

        // The guide is unsaved, so opening another asks first; not saving goes on to open.
        Running request({tmp("X.trovix")});
        QVERIFY(request.waitForExit());
        const QRect dontSave = findOnScreen(m_app->pid(), QStringLiteral("Don’t Save"), 20000);
        QVERIFY2(!dontSave.isEmpty(), qPrintable(accessibleNames(m_app->pid()).join(u'|')));
        QVERIFY(!findOnScreen(m_app->pid(), QStringLiteral("Save changes to “Before”?")).isEmpty());
        click(dontSave);
        QVERIFY_EMPTY(
            answerAlert(m_app->pid(), QStringLiteral("Couldn’t open “X.trovix”"),
                        QStringLiteral("It doesn’t look like a valid Trovix file.\n\nThe guide in "
                                       "“X.trovix” couldn’t be opened because the picture of step 2 "
                                       "(“%1”) is damaged: ")
                            .arg(broken[1].imageName())));

        QVERIFY_EMPTY(alive());
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Before*")), 5000);
        QVERIFY2(saveAs(tmp("good/Before"), QStringLiteral("ctrl+s")), "no save dialog");
        QTRY_VERIFY_WITH_TIMEOUT(titleIs(QStringLiteral("Before")), 20000);
        QVERIFY_EMPTY(compareGuide(tmp("good/Before.trovix"), QStringLiteral("Before"), steps));
    }
};

int main(int argc, char** argv) {
    enterPrivateMountNamespace();
    QGuiApplication app(argc, argv);
    FaultsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_faults.moc"
