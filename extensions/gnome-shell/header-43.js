/* exported init */
const {Clutter, Gio, GLib, Meta, Shell} = imports.gi;

