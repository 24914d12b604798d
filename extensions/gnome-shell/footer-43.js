
class TrovixExtension {
    enable() {
        this._reporter = new ClickReporter();
    }

    disable() {
        this._reporter.destroy();
        this._reporter = null;
    }
}

function init() {
    return new TrovixExtension();
}
