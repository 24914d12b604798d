// Reports left-button presses over other applications' windows, and the keys typed into them, to the
// Trovix process that asked for them, and to nobody else, while a recording runs. The same body serves both extension formats: the
// build puts the matching header (imports.* or ES modules) before it and the matching footer after.

const BUS_NAME = 'io.github.trovix.Trovix';
const OBJECT_PATH = '/io/github/trovix/Trovix/Clicks';
const INTERFACE_NAME = 'io.github.trovix.Trovix.Clicks';
const INTERFACE_XML = `
<node>
  <interface name="${INTERFACE_NAME}">
    <method name="Start"/>
    <method name="Stop"/>
    <property name="Version" type="u" access="read"/>
    <property name="Recording" type="b" access="read"/>
    <signal name="Click">
      <arg name="x" type="i"/>
      <arg name="y" type="i"/>
      <arg name="time" type="u"/>
      <arg name="window" type="a{sv}"/>
    </signal>
    <signal name="Key">
      <arg name="keysym" type="u"/>
      <arg name="modifiers" type="u"/>
      <arg name="text" type="s"/>
      <arg name="window" type="a{sv}"/>
    </signal>
  </interface>
</node>`;
const PROTOCOL_VERSION = 2;
const BUTTON_LEFT = 1;

function rectangle(rect) {
    return new GLib.Variant('(iiii)', [rect.x, rect.y, rect.width, rect.height]);
}

class ClickReporter {
    constructor() {
        this._recorder = null; // { name: unique bus name, pid, watch }
        this._windows = new Map(); // MetaWindow → its handler ids
        this._createdId = 0;
        this._focusId = 0;
        this._lastPress = null;
        this._dbus = Gio.DBusExportedObject.wrapJSObject(INTERFACE_XML, this);
        this._dbus.export(Gio.DBus.session, OBJECT_PATH);
    }

    destroy() {
        this._stopRecording();
        this._dbus.unexport();
        this._dbus = null;
    }

    get Version() {
        return PROTOCOL_VERSION;
    }

    get Recording() {
        return this._recorder !== null;
    }

    // Only the process that owns Trovix's well-known name may record, and only one at a time.
    StartAsync(params, invocation) {
        const sender = invocation.get_sender();
        this._ownerOf(BUS_NAME).then(owner => {
            if (owner !== sender) {
                invocation.return_error_literal(Gio.DBusError, Gio.DBusError.ACCESS_DENIED,
                    `Only the owner of ${BUS_NAME} may record clicks`);
                return;
            }
            return this._pidOf(sender).then(pid => {
                this._startRecording(sender, pid);
                invocation.return_value(null);
            });
        }).catch(error => {
            invocation.return_error_literal(Gio.DBusError, Gio.DBusError.FAILED, String(error));
        });
    }

    StopAsync(params, invocation) {
        if (this._recorder && this._recorder.name === invocation.get_sender())
            this._stopRecording();
        invocation.return_value(null);
    }

    _call(method, name, type) {
        return new Promise((resolve, reject) => {
            Gio.DBus.session.call('org.freedesktop.DBus', '/org/freedesktop/DBus',
                'org.freedesktop.DBus', method, new GLib.Variant('(s)', [name]),
                new GLib.VariantType(type), Gio.DBusCallFlags.NONE, -1, null, (connection, result) => {
                    try {
                        resolve(connection.call_finish(result).deepUnpack()[0]);
                    } catch (error) {
                        reject(error);
                    }
                });
        });
    }

    _ownerOf(name) {
        return this._call('GetNameOwner', name, '(s)').catch(() => null);
    }

    _pidOf(name) {
        return this._call('GetConnectionUnixProcessID', name, '(u)');
    }

    _startRecording(name, pid) {
        this._stopRecording();
        // The recording ends with the recorder's connection: a crashed or killed Trovix leaves
        // nothing behind that reports clicks.
        const watch = Gio.bus_watch_name_on_connection(Gio.DBus.session, name,
            Gio.BusNameWatcherFlags.NONE, null, () => this._stopRecording());
        this._recorder = {name, pid, watch};
        for (const actor of global.get_window_actors())
            this._watchWindow(actor.meta_window);
        this._createdId = global.display.connect('window-created',
            (display, window) => this._watchWindow(window));
        // A press whose time is older than one mutter already gave the window (events handled late
        // on a busy machine) leaves the user time alone; if it moves the focus, that tells instead.
        this._focusId = global.display.connect('notify::focus-window', () => {
            if (global.display.focus_window)
                this._userTimeChanged(global.display.focus_window);
        });
    }

    _stopRecording() {
        if (!this._recorder)
            return;
        Gio.bus_unwatch_name(this._recorder.watch);
        this._recorder = null;
        for (const id of [this._createdId, this._focusId]) {
            if (id)
                global.display.disconnect(id);
        }
        this._createdId = this._focusId = 0;
        for (const [window, ids] of this._windows)
            ids.forEach(id => window.disconnect(id));
        this._windows.clear();
        this._lastPress = null;
    }

    // Mutter moves a window's user time forward on every press over it, before the client sees the
    // press; the event being handled then is that press. Presses over windows reach no other hook
    // the Shell offers.
    _watchWindow(window) {
        if (!window || this._windows.has(window))
            return;
        this._windows.set(window, [
            window.connect('notify::user-time', () => this._userTimeChanged(window)),
            window.connect('unmanaged', () => {
                this._windows.get(window)?.forEach(id => window.disconnect(id));
                this._windows.delete(window);
            }),
        ]);
    }

    _userTimeChanged(window) {
        if (!this._recorder)
            return;
        const event = Clutter.get_current_event();
        if (!event)
            return;
        if (event.type() === Clutter.EventType.KEY_PRESS) {
            this._keyPressed(window, event);
            return;
        }
        if (event.type() !== Clutter.EventType.BUTTON_PRESS || event.get_button() !== BUTTON_LEFT)
            return;
        const [x, y] = event.get_coords();
        const time = event.get_time();
        // One press may move several windows' user time (a popup and its parent): report it once.
        const press = `${time}:${x}:${y}`;
        if (press === this._lastPress)
            return;
        this._lastPress = press;
        const description = this._describe(window);
        if (description)
            this._emit('Click', new GLib.Variant('(iiua{sv})', [Math.floor(x), Math.floor(y), time, description]));
    }

    // Mutter moves the focused window's user time on every key pressed into it, too.
    _keyPressed(window, event) {
        const key = `key:${event.get_time()}:${event.get_key_code()}`;
        if (key === this._lastPress)
            return;
        this._lastPress = key;
        const description = this._describe(window);
        if (!description)
            return;
        const unicode = event.get_key_unicode();
        const text = typeof unicode === 'string' && unicode !== '\0' ? unicode : '';
        this._emit('Key', new GLib.Variant('(uusa{sv})',
            [event.get_key_symbol(), event.get_state(), text, description]));
    }

    // The window's application and place, or null for Trovix's own windows.
    _describe(window) {
        // A popup menu belongs to the window it opened from.
        let owner = window;
        while (owner.get_transient_for())
            owner = owner.get_transient_for();
        if (owner.get_pid() === this._recorder.pid || window.get_pid() === this._recorder.pid)
            return null;
        const description = {
            appId: new GLib.Variant('s', owner.get_gtk_application_id() || owner.get_sandboxed_app_id() || ''),
            wmClass: new GLib.Variant('s', owner.get_wm_class() || ''),
            pid: new GLib.Variant('x', owner.get_pid()),
            title: new GLib.Variant('s', owner.get_title() || ''),
            frame: rectangle(owner.get_frame_rect()),
            buffer: rectangle(owner.get_buffer_rect()),
            // A press in a popup menu: the menu is gone once the click has had its effect.
            popup: new GLib.Variant('b', owner !== window),
            // An X11 client under Xwayland tells the accessibility bus desktop places, not window ones.
            x11: new GLib.Variant('b', owner.get_client_type() === Meta.WindowClientType.X11),
        };
        const tracker = Shell.WindowTracker.get_default();
        const app = tracker.get_window_app(owner);
        if (app && app.get_id())
            description.appId = new GLib.Variant('s', app.get_id().replace(/\.desktop$/, ''));
        return description;
    }

    // To the recorder alone: a signal with a destination is never broadcast.
    _emit(signal, parameters) {
        Gio.DBus.session.emit_signal(this._recorder.name, OBJECT_PATH, INTERFACE_NAME, signal, parameters);
    }
}
