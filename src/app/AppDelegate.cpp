#include "app/AppDelegate.h"

#include "app/HotKey.h"
#include "app/MainMenu.h"
#include "app/MainToolBar.h"
#include "app/MainWindowController.h"
#include "app/PreferencesDialog.h"
#include "app/RedactCommand.h"
#include "app/StatusItem.h"
#include "capture/Capture.h"
#include "capture/CaptureCommand.h"
#include "capture/RegionSelector.h"
#include "document/Error.h"
#include "document/Guide.h"
#include "document/GuideStore.h"
#include "editor/EditorController.h"
#include "library/Library.h"
#include "library/LibraryModel.h"
#include "library/LibraryWindowController.h"
#include "platform/Dialogs.h"
#include "platform/Platform.h"
#include "platform/browser/SessionClickMonitor.h"
#include "recorder/Recorder.h"
#include "redact/Redactor.h"
#include "redact/StepScreening.h"

#include <QCoreApplication>
#include <QFutureWatcher>
#include <QGuiApplication>
#include <QMenuBar>
#include <QPointer>
#include <QSettings>
#include <QtConcurrent/QtConcurrentRun>

namespace trovix {

namespace {

// Every new step, whichever way it comes, is searched for secrets on a worker thread and joins the
// guide (and so the working copy, a save, the clipboard or an export) only with them covered.
void screenNewSteps(Guide& guide) {
    SecretDetector::Read read = RedactCommand::systemReader();
    if (!read)
        return; // without text recognition there is nothing to read secrets from
    guide.setIntake(StepScreening::intake(std::move(read), [] { return RedactionOptions::current(); }));
}

} // namespace

AppDelegate::AppDelegate(QObject* parent)
    : QObject(parent)
    , m_guide(GuideStore::load())
    , m_documents(*m_guide, m_recents)
    , m_selector(std::make_unique<RegionSelector>()) {
    screenNewSteps(*m_guide);
    QPointer<AppDelegate> self(this);
    m_capture = std::make_unique<CaptureCommand>(
        *m_guide, *m_selector,
        [self] {
            if (self)
                self->showAction();
        },
        [self]() -> QWidget* { return self && self->m_mainWindow ? self->m_mainWindow->window() : nullptr; });
}

AppDelegate::~AppDelegate() = default;

MainActions AppDelegate::makeActions() {
    // Each callback holds the controller weakly and does nothing once it is gone.
    QPointer<AppDelegate> self(this);
    MainActions actions;
    actions.capture = [self] {
        if (self)
            self->captureRegion();
    };
    actions.toggleRecording = [self] {
        if (self)
            self->toggleRecording();
    };
    actions.annotate = [self](const QUuid& id) {
        if (self)
            self->annotate(id);
    };
    actions.exportGuide = [self](ExportFormat format) {
        if (self)
            self->m_export.exportGuide(*self->m_guide, format, self->m_mainWindow->window());
    };
    actions.newGuide = [self] {
        if (self)
            self->newGuideAction();
    };
    actions.save = [self] {
        if (self)
            self->saveAction();
    };
    actions.library = [self] {
        if (self)
            self->showLibrary();
    };
    return actions;
}

void AppDelegate::launch() {
    m_mainWindow = std::make_unique<MainWindowController>(*m_guide, makeActions());
    m_documents.setMainWindow(m_mainWindow.get());
    m_menu = new MainMenu(m_mainWindow->window()->menuBar(), *this, m_recents);
    // Click recording comes and goes with the browser extensions where the desktop shows no clicks.
    // The controls stay live where Trovix can offer to make clicks visible: choosing them offers it.
    SessionClickMonitor& clickMonitor = SessionClickMonitor::instance();
    const auto whyNoClicks = [&clickMonitor] {
        return clickMonitor.enableOffer().isEmpty() ? clickMonitor.unavailableReason() : QString();
    };
    const QString noClicks = whyNoClicks();
    m_mainWindow->window()->toolBar()->setRecordingAvailability(noClicks, clickMonitor.browserOnlyNote());
    m_menu->setRecordingAvailability(noClicks, clickMonitor.browserOnlyNote());
    // The tray icon follows the step count and the recording flag by itself from here on.
    QPointer<AppDelegate> self(this);
    auto command = [self](void (AppDelegate::*action)()) {
        return [self, action] {
            if (self)
                (self.data()->*action)();
        };
    };
    m_statusItem = std::make_unique<StatusItem>(
        *m_guide,
        StatusItem::Actions{command(&AppDelegate::showAction), command(&AppDelegate::libraryAction),
                            command(&AppDelegate::captureRegion), command(&AppDelegate::toggleRecording),
                            command(&AppDelegate::quitAction), noClicks, [self](bool on) {
                                if (self)
                                    self->setRecordsTyping(on);
                            }});
    connect(&clickMonitor, &SessionClickMonitor::availabilityChanged, this,
            [this, &clickMonitor, whyNoClicks] {
                const QString reason = whyNoClicks();
                m_mainWindow->window()->toolBar()->setRecordingAvailability(reason,
                                                                            clickMonitor.browserOnlyNote());
                m_menu->setRecordingAvailability(reason, clickMonitor.browserOnlyNote());
                m_statusItem->setRecordingUnavailable(reason);
            });
    m_documents.startWindowRefresh();
    m_documents.refreshWindow();
    HotKey::registerHotKey(1, HotKey::keyS, HotKey::controlOption, command(&AppDelegate::captureRegion));
    HotKey::registerHotKey(2, HotKey::keyR, HotKey::controlOption, command(&AppDelegate::toggleRecording));
    m_mainWindow->bringToFront();
}

void AppDelegate::openRequest(const QStringList& paths) {
    if (paths.isEmpty())
        showAction();
    else
        m_documents.openGuide(paths.first());
}

void AppDelegate::captureRegion() {
    m_capture->captureRegion();
}

bool AppDelegate::recordsTyping() {
    return QSettings().value(QStringLiteral("recordTypingAndKeys"), true).toBool();
}

QString AppDelegate::typingUnavailableReason() {
    if (Platform::current().keyMonitor().isAvailable())
        return {};
    return tr(
        "Typing and keys are recorded in an X11 (Xorg) session, and under GNOME with Trovix’s Shell "
        "extension switched on: this desktop lets no application see the keys pressed in other windows.");
}

void AppDelegate::setRecordsTyping(bool on) {
    QSettings().setValue(QStringLiteral("recordTypingAndKeys"), on);
    if (m_recorder)
        m_recorder->setRecordsKeys(on);
    if (m_menu)
        m_menu->setRecordsTyping(on);
    if (m_statusItem)
        m_statusItem->refresh();
}

Recorder& AppDelegate::recorder() {
    if (!m_recorder) {
        m_recorder = std::make_unique<Recorder>(*m_guide);
        m_recorder->setRecordsKeys(recordsTyping());
        // A recording that lost sight of the clicks has stopped; the user must learn it at once,
        // or they would go on clicking into a guide that no longer grows.
        connect(m_recorder.get(), &Recorder::interrupted, this, [this](const QString& reason) {
            Dialogs::Alert alert;
            alert.message = tr("Click recording stopped");
            alert.informativeText = reason;
            alert.buttons = {tr("OK")};
            if (m_mainWindow)
                m_mainWindow->bringToFront();
            Dialogs::current().alert(m_mainWindow ? m_mainWindow->window() : nullptr, alert);
        });
    }
    return *m_recorder;
}

void AppDelegate::toggleRecording() {
    Recorder& clicks = recorder();
    if (clicks.isRecording()) {
        clicks.stop();
        if (m_mainWindow)
            m_mainWindow->bringToFront();
        return;
    }
    QWidget* parent = m_mainWindow ? m_mainWindow->window() : nullptr;
    // The hot key and the command line still reach here where the controls are greyed out.
    SessionClickMonitor& monitor = SessionClickMonitor::instance();
    const QString noClicks = monitor.unavailableReason();
    if (!noClicks.isEmpty()) {
        // Where Trovix can switch on what the desktop lacks, it offers to, and records right after.
        const QString offer = monitor.enableOffer();
        if (offer.isEmpty()) {
            showRecordingUnavailable(parent, noClicks);
            return;
        }
        Dialogs::Alert alert;
        alert.message = tr("Click recording isn’t available");
        alert.informativeText = noClicks;
        alert.buttons = {offer, tr("Cancel")};
        alert.cancelButton = 1;
        if (Dialogs::current().alert(parent, alert) != 0)
            return;
        QString error;
        if (!monitor.enable(&error)) {
            showRecordingUnavailable(parent, error);
            return;
        }
        if (m_mainWindow)
            m_mainWindow->window()->toolBar()->setRecordingUnavailable(QString());
        if (m_menu)
            m_menu->setRecordingUnavailable(QString());
    }
    if (!Capture::ensureAccess(parent))
        return;
    if (!clicks.start()) {
        showRecordingUnavailable(
            parent, tr("Trovix could not start watching the clicks on this display. Capture each step "
                       "with Capture Region (Ctrl+Alt+S) instead."));
        return;
    }
    // Out of the way, so the clicks go to the applications being documented.
    if (Platform::current().name() != QLatin1String("wayland") || m_screenshotsAnswered) {
        MainMenu::hideApplication();
        return;
    }
    // The desktop's screenshot portal may ask once whether Trovix may take screenshots: that question
    // comes now, with Trovix in front, rather than over the first click being recorded. A refusal
    // ends the recording, which could not have shown a single click.
    QPointer<AppDelegate> self(this);
    auto* watcher = new QFutureWatcher<QString>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [self, watcher] {
        watcher->deleteLater();
        if (!self)
            return;
        const QString refused = watcher->future().result();
        Recorder& recorder = self->recorder();
        if (!refused.isEmpty()) {
            if (recorder.isRecording()) {
                recorder.stop();
                self->showRecordingUnavailable(self->m_mainWindow ? self->m_mainWindow->window() : nullptr,
                                               refused);
            }
            return;
        }
        self->m_screenshotsAnswered = true;
        if (recorder.isRecording())
            MainMenu::hideApplication();
    });
    watcher->setFuture(QtConcurrent::run([]() -> QString {
        try {
            Platform::current().screenGrabber().grab(QRect(0, 0, 1, 1));
            return {};
        } catch (const Error& error) {
            return error.message();
        } catch (...) {
            return tr("The desktop did not let Trovix take a screenshot.");
        }
    }));
}

void AppDelegate::showRecordingUnavailable(QWidget* parent, const QString& reason) {
    Dialogs::Alert alert;
    alert.message = tr("Click recording isn’t available");
    alert.informativeText = reason;
    alert.buttons = {tr("OK")};
    Dialogs::current().alert(parent, alert);
}

void AppDelegate::annotate(const QUuid& stepId) {
    const Step* step = m_guide->step(stepId);
    if (!step)
        return;
    // The editor keeps itself alive until its window closes, and opens in front of everything. Its
    // result finds the step again by id, since the step may have been moved, renamed or deleted
    // meanwhile, and replaces only the annotations and the picture, so title and note edits made
    // while it was open stay.
    QPointer<AppDelegate> self(this);
    auto* editor = new EditorController(step->base, step->scale, step->annotations, step->title,
                                        [self, stepId](const QList<Annotation>& annotations) {
                                            if (self)
                                                self->m_guide->replaceAnnotations(stepId, annotations);
                                        });
    editor->setRedactions(step->redactions, Redactor::canUncover(*step) ? step->original : Image(),
                          [self, stepId](const QList<Redaction>& uncovered, const QList<QRectF>& added) {
                              if (self)
                                  self->m_guide->replacePicture(stepId, [&](Step& step) {
                                      step = Redactor::changed(step, uncovered, added);
                                  });
                          });
}

void AppDelegate::showLibrary() {
    if (!m_libraryWindow) {
        QPointer<AppDelegate> self(this);
        m_libraryWindow = std::make_unique<LibraryWindowController>(*m_guide, [self](const QUrl& url) {
            if (self)
                self->m_documents.openGuide(url.toLocalFile());
        });
        // A guide opened from anywhere puts the library away, just before the main window comes forward.
        connect(&m_documents, &DocumentCommands::guideOpened, m_libraryWindow->window(), &QWidget::hide);
    }
    Library::ensureFolder();
    m_libraryWindow->model().reload();
    m_libraryWindow->show();
}

void AppDelegate::newGuideAction() {
    m_documents.newGuide();
}

void AppDelegate::openAction() {
    m_documents.openDocument();
}

void AppDelegate::saveAction() {
    m_documents.saveDocument();
}

void AppDelegate::saveAsAction() {
    m_documents.saveDocumentAs();
}

void AppDelegate::showAction() {
    if (m_mainWindow)
        m_mainWindow->bringToFront();
}

void AppDelegate::runCommand(const QString& command) {
    if (command == QLatin1String("capture"))
        captureRegion();
    else if (command == QLatin1String("toggle-recording"))
        toggleRecording();
    else if (command == QLatin1String("library"))
        showLibrary();
}

void AppDelegate::redactSecretsAction() {
    m_redact.redactGuide(*m_guide, m_mainWindow ? m_mainWindow->window() : nullptr);
}

void AppDelegate::preferencesAction() {
    PreferencesDialog::show(m_mainWindow ? m_mainWindow->window() : nullptr);
}

void AppDelegate::libraryAction() {
    showLibrary();
}

void AppDelegate::quitAction() {
    if (!applicationShouldTerminate())
        return;
    applicationWillTerminate();
    QCoreApplication::quit();
}

bool AppDelegate::applicationShouldTerminate() {
    return m_documents.confirmDiscardIfNeeded();
}

void AppDelegate::applicationWillTerminate() {
    if (m_terminated)
        return;
    m_terminated = true;
    if (m_mainWindow)
        m_mainWindow->window()->saveFrame();
    // Click recording stops first, so no recorded click changes the guide after the last write.
    recorder().stop();
    // A library scan still waiting for a slow disk is given up; main() does not wait for its threads.
    if (m_libraryWindow)
        m_libraryWindow->model().cancelScans();
    // Steps still being searched for secrets join the guide before it is written for the last time.
    m_guide->settlePending();
    // Written last, after everything that may still change the guide has stopped.
    m_guide->writeWorkingCopy();
}

} // namespace trovix
