
export default class TrovixExtension extends Extension {
    enable() {
        this._reporter = new ClickReporter();
    }

    disable() {
        this._reporter.destroy();
        this._reporter = null;
    }
}
