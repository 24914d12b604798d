#include "capture/CaptureCommand.h"

#include "capture/Capture.h"
#include "capture/Shutter.h"
#include "document/Error.h"
#include "document/Guide.h"
#include "platform/Dialogs.h"

#include <QGuiApplication>
#include <QScreen>

namespace trovix {

CaptureCommand::CaptureCommand(Guide& guide, RegionSelector& selector, std::function<void()> showMainWindow,
                               std::function<QWidget*()> mainWindow, QObject* parent)
    : QObject(parent)
    , m_guide(guide)
    , m_selector(selector)
    , m_showMainWindow(std::move(showMainWindow))
    , m_mainWindow(std::move(mainWindow)) {}

void CaptureCommand::captureRegion() {
    if (m_busy)
        return;
    if (!Capture::ensureAccess(m_mainWindow ? m_mainWindow() : nullptr))
        return;
    m_busy = true;
    Q_EMIT started();
    // A capture started while an earlier one is still selecting takes over its ending: the user
    // returns to wherever the first one would have left them.
    if (!m_selector.isActive())
        m_wasActive = QGuiApplication::applicationState() == Qt::ApplicationActive;
    m_selector.withdrawOverlays();
    // All windows leave once, for all screens: per screen they would flicker back in between.
    m_windows.merge(OwnWindows::leaveScreen({}, OwnWindows::Way::withdraw));
    QList<QPointer<QScreen>> screens;
    const QList<QScreen*> all = QGuiApplication::screens();
    for (QScreen* screen : all)
        screens.append(screen);
    m_windows.whenGone(this, [this, screens] { collect(screens); });
}

// Every screen at one moment (one request where the desktop's service is asked for the picture).
void CaptureCommand::collect(QList<QPointer<QScreen>> screens) {
    QList<QScreen*> live;
    for (const QPointer<QScreen>& screen : screens)
        live.append(screen.data());
    Capture::displays(live, Capture::Windows::alreadyGone)
        .then(this,
              [this, screens](const QList<QImage>& grabbed) {
                  QList<RegionSelector::ScreenImage> images;
                  for (qsizetype i = 0; i < screens.size(); ++i)
                      images.append({screens[i], grabbed.value(i)});
                  m_selector.begin(images, [self = QPointer(this)](std::optional<Shot> shot) {
                      if (self)
                          self->complete(std::move(shot));
                  });
                  m_busy = false;
                  Q_EMIT selecting();
              })
        .onFailed(this, [this](const Error& error) { fail(error); });
}

void CaptureCommand::fail(const Error& error) {
    m_busy = false;
    // An earlier capture's selector, withdrawn for this one, ends as cancelled.
    m_selector.cancel();
    m_windows.restore();
    if (error.code() == Error::Code::permissionDenied) {
        Capture::showPermissionAlert(m_mainWindow ? m_mainWindow() : nullptr);
        Q_EMIT finished(false);
        return;
    }
    Dialogs::Alert alert;
    alert.message = tr("Trovix couldn’t capture the screen.");
    alert.informativeText = error.message();
    alert.buttons = {tr("OK")};
    alert.style = Dialogs::Style::critical;
    Dialogs::current().alert(m_mainWindow ? m_mainWindow() : nullptr, alert);
    Q_EMIT finished(false);
}

void CaptureCommand::complete(std::optional<Shot> shot) {
    if (shot) {
        const QString title = tr("Step %1").arg(m_guide.steps().size() + m_guide.pendingCount() + 1);
        m_guide.append(Step::make(shot->image, shot->scale, title));
        playShutter();
    }
    if (m_wasActive) {
        m_windows.restore();
        if (m_showMainWindow)
            m_showMainWindow();
    } else {
        // The application the user was working in comes back to the front; Trovix's windows stay
        // minimized until the user asks for them.
        m_windows.restoreHidden();
    }
    Q_EMIT finished(shot.has_value());
}

} // namespace trovix
