/* exported init */
const {Clutter, Gio, GLib, Shell} = imports.gi;

