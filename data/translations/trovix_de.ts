<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>trovix::AppDelegate</name>
    <message>
        <source>Trovix could not start watching the clicks on this display. Capture each step with Capture Region (Ctrl+Alt+S) instead.</source>
        <translation>Trovix kann die Klicks auf dieser Anzeige nicht verfolgen. Nehmen Sie jeden Schritt stattdessen mit „Bereich aufnehmen“ (Strg+Alt+S) auf.</translation>
    </message>
    <message>
        <source>Click recording isn’t available</source>
        <translation>Klickaufzeichnung ist nicht verfügbar</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Click recording stopped</source>
        <translation>Klickaufnahme beendet</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>The desktop did not let Trovix take a screenshot.</source>
        <translation>Die Arbeitsumgebung hat Trovix kein Bildschirmfoto aufnehmen lassen.</translation>
    </message>
    <message>
        <source>Typing and keys are recorded in an X11 (Xorg) session, and under GNOME with Trovix’s Shell extension switched on: this desktop lets no application see the keys pressed in other windows.</source>
        <translation>Tippen und Tasten werden in einer X11-Sitzung (Xorg) aufgenommen und unter GNOME, wenn die Shell-Erweiterung von Trovix eingeschaltet ist: Dieser Desktop lässt keine Anwendung die in anderen Fenstern gedrückten Tasten sehen.</translation>
    </message>
</context>
<context>
    <name>trovix::Capture</name>
    <message>
        <source>Screen capture isn’t available</source>
        <translation>Bildschirmaufnahme ist nicht verfügbar</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Screen Recording permission needed</source>
        <translation>Berechtigung zur Bildschirmaufnahme erforderlich</translation>
    </message>
    <message>
        <source>Allow Trovix to take screenshots in your desktop’s privacy settings, then try again.</source>
        <translation>Erlauben Sie Trovix in den Datenschutzeinstellungen Ihres Desktops, Bildschirmfotos aufzunehmen, und versuchen Sie es dann erneut.</translation>
    </message>
    <message>
        <source>Trovix couldn’t capture the screen: it is no longer connected.</source>
        <translation>Trovix konnte den Bildschirm nicht aufnehmen: Er ist nicht mehr angeschlossen.</translation>
    </message>
</context>
<context>
    <name>trovix::CaptureCommand</name>
    <message>
        <source>Trovix couldn’t capture the screen.</source>
        <translation>Trovix konnte den Bildschirm nicht aufnehmen.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Step %1</source>
        <translation>Schritt %1</translation>
    </message>
</context>
<context>
    <name>trovix::CardGrid</name>
    <message>
        <source>Guides</source>
        <translation>Anleitungen</translation>
    </message>
    <message>
        <source>%1 step · %2</source>
        <translation>%1 Schritt · %2</translation>
    </message>
    <message>
        <source>%1 steps · %2</source>
        <translation>%1 Schritte · %2</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Öffnen</translation>
    </message>
    <message>
        <source>Show in File Manager</source>
        <translation>Im Dateimanager anzeigen</translation>
    </message>
    <message>
        <source>Move to Trash</source>
        <translation>In den Papierkorb verschieben</translation>
    </message>
    <message>
        <source>Can’t be read</source>
        <translation>Nicht lesbar</translation>
    </message>
</context>
<context>
    <name>trovix::ClickDescriber</name>
    <message>
        <source> in %1</source>
        <translation> in %1</translation>
    </message>
    <message>
        <source>Click “%1”%2</source>
        <translation>Klicken Sie auf „%1“%2</translation>
    </message>
    <message>
        <source>Click%1</source>
        <translation>Klicken Sie%1</translation>
    </message>
    <message>
        <source>Click the %1%2</source>
        <translation>Klicken Sie auf das Element „%1“%2</translation>
    </message>
</context>
<context>
    <name>trovix::CommandLine</name>
    <message>
        <source>--%1 and --%2 cannot be used together</source>
        <translation>--%1 und --%2 können nicht zusammen verwendet werden</translation>
    </message>
    <message>
        <source>unknown option %1</source>
        <translation>unbekannte Option %1</translation>
    </message>
    <message>
        <source>Usage: trovix [OPTION] [GUIDE_FOLDER…]
Turn screenshots into step-by-step illustrated guides.

  --capture            capture a region of the screen
  --toggle-recording   start or stop click recording
  --library            show the guides library
  -h, --help           show this help and exit
  -v, --version        show the version and exit

A command goes to the Trovix already running on this display, or starts it first.
Bind `trovix --capture` to a keyboard shortcut where the desktop does not let Trovix
register Ctrl+Alt+S itself (Wayland sessions).
</source>
        <translation>Aufruf: trovix [OPTION] [ANLEITUNGSORDNER…]
Macht aus Bildschirmfotos bebilderte Schritt-für-Schritt-Anleitungen.

  --capture            einen Bildschirmbereich aufnehmen
  --toggle-recording   Klickaufzeichnung starten oder beenden
  --library            die Anleitungsbibliothek anzeigen
  -h, --help           diese Hilfe anzeigen und beenden
  -v, --version        die Version anzeigen und beenden

Ein Befehl geht an das Trovix, das auf diesem Bildschirm bereits läuft, oder startet es zuerst.
Legen Sie `trovix --capture` auf ein Tastenkürzel, wo der Desktop Trovix Strg+Alt+S
nicht selbst belegen lässt (Wayland-Sitzungen).
</translation>
    </message>
    <message>
        <source>cannot start: no display to show windows on (neither DISPLAY nor WAYLAND_DISPLAY is set)</source>
        <translation>Start nicht möglich: kein Bildschirm, auf dem Fenster erscheinen können (weder DISPLAY noch WAYLAND_DISPLAY ist gesetzt)</translation>
    </message>
</context>
<context>
    <name>trovix::DocumentCommands</name>
    <message>
        <source>Choose a Trovix file</source>
        <translation>Trovix-Datei auswählen</translation>
    </message>
    <message>
        <source>Couldn’t open “%1”</source>
        <translation>„%1“ konnte nicht geöffnet werden</translation>
    </message>
    <message>
        <source>It doesn’t look like a valid Trovix file.</source>
        <translation>Es scheint keine gültige Trovix-Datei zu sein.</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Save this guide so you can reopen and edit it later.</source>
        <translation>Speichern Sie diese Anleitung, um sie später wieder zu öffnen und zu bearbeiten.</translation>
    </message>
    <message>
        <source>Couldn’t save “%1”</source>
        <translation>„%1“ konnte nicht gespeichert werden</translation>
    </message>
    <message>
        <source>Save changes to “%1”?</source>
        <translation>Änderungen an „%1“ speichern?</translation>
    </message>
    <message>
        <source>Your changes will be lost if you don’t save them.</source>
        <translation>Ihre Änderungen gehen verloren, wenn Sie sie nicht speichern.</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Speichern</translation>
    </message>
    <message>
        <source>Don’t Save</source>
        <translation>Nicht speichern</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Checking new steps for secrets…</source>
        <translation>Neue Schritte werden auf Geheimnisse geprüft …</translation>
    </message>
</context>
<context>
    <name>trovix::EditorController</name>
    <message>
        <source>Arrow</source>
        <translation>Pfeil</translation>
    </message>
    <message>
        <source>Box</source>
        <translation>Rahmen</translation>
    </message>
    <message>
        <source>Highlight</source>
        <translation>Hervorheben</translation>
    </message>
    <message>
        <source>Pixelate</source>
        <translation>Verpixeln</translation>
    </message>
    <message>
        <source>Text</source>
        <translation>Text</translation>
    </message>
    <message>
        <source>Step #</source>
        <translation>Schritt-Nr.</translation>
    </message>
    <message>
        <source>Click</source>
        <translation>Klick</translation>
    </message>
    <message>
        <source>Target</source>
        <translation>Ziel</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Rückgängig</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Save…</source>
        <translation>Speichern …</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Screenshot</source>
        <translation>Bildschirmfoto</translation>
    </message>
    <message>
        <source>Redact</source>
        <translation>Schwärzen</translation>
    </message>
    <message>
        <source>Drag a box to cover it with a solid colour when you click Done</source>
        <translation>Ziehen Sie einen Rahmen auf; mit „Fertig“ wird er mit einer deckenden Farbe überdeckt</translation>
    </message>
    <message>
        <source>1 region redacted. Click it with Redact to uncover it.</source>
        <translation>1 Bereich geschwärzt. Klicken Sie ihn mit „Schwärzen“ an, um ihn aufzudecken.</translation>
    </message>
    <message>
        <source>%1 regions redacted. Click one with Redact to uncover it.</source>
        <translation>%1 Bereiche geschwärzt. Klicken Sie einen mit „Schwärzen“ an, um ihn aufzudecken.</translation>
    </message>
    <message>
        <source>1 region redacted. Redaction is final: the original picture is no longer kept.</source>
        <translation>1 Bereich geschwärzt. Die Schwärzung ist endgültig: Das ursprüngliche Bild wird nicht mehr aufbewahrt.</translation>
    </message>
    <message>
        <source>%1 regions redacted. Redaction is final: the original picture is no longer kept.</source>
        <translation>%1 Bereiche geschwärzt. Die Schwärzung ist endgültig: Das ursprüngliche Bild wird nicht mehr aufbewahrt.</translation>
    </message>
</context>
<context>
    <name>trovix::ExportCommand</name>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Exporting “%1”…</source>
        <translation>„%1“ wird exportiert …</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Export as HTML</source>
        <translation>Als HTML exportieren</translation>
    </message>
    <message>
        <source>Export as PDF</source>
        <translation>Als PDF exportieren</translation>
    </message>
    <message>
        <source>Choose where to create the guide folder</source>
        <translation>Wählen Sie, wo der Anleitungsordner angelegt werden soll</translation>
    </message>
    <message>
        <source>Export Here</source>
        <translation>Hierhin exportieren</translation>
    </message>
    <message>
        <source>Exported “%1”</source>
        <translation>„%1“ exportiert</translation>
    </message>
    <message>
        <source>%1 · %2 image quality</source>
        <translation>%1 · Bildqualität: %2</translation>
    </message>
    <message>
        <source>Show in File Manager</source>
        <translation>Im Dateimanager anzeigen</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Export as Word Document</source>
        <translation>Als Word-Dokument exportieren</translation>
    </message>
    <message>
        <source>Export as OpenDocument Text</source>
        <translation>Als OpenDocument-Text exportieren</translation>
    </message>
    <message>
        <source>1 region redacted</source>
        <translation>1 Bereich geschwärzt</translation>
    </message>
    <message>
        <source>%1 regions redacted</source>
        <translation>%1 Bereiche geschwärzt</translation>
    </message>
</context>
<context>
    <name>trovix::ExportPopover</name>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>Image quality</source>
        <translation>Bildqualität</translation>
    </message>
    <message>
        <source>Applies to exported files only. Saved guides always keep full-resolution screenshots.</source>
        <translation>Gilt nur für exportierte Dateien. Gespeicherte Anleitungen behalten die Bildschirmfotos immer in voller Auflösung.</translation>
    </message>
    <message>
        <source>Export as</source>
        <translation>Exportieren als</translation>
    </message>
</context>
<context>
    <name>trovix::ExportQuality</name>
    <message>
        <source>Small file</source>
        <translation>Kleine Datei</translation>
    </message>
    <message>
        <source>Balanced</source>
        <translation>Ausgewogen</translation>
    </message>
    <message>
        <source>Full quality</source>
        <translation>Volle Qualität</translation>
    </message>
    <message>
        <source>Smallest files (about 80% smaller). Fine on screen; text is slightly softer when printed.</source>
        <translation>Kleinste Dateien (etwa 80 % kleiner). Gut am Bildschirm; gedruckter Text ist etwas weicher.</translation>
    </message>
    <message>
        <source>Sharp text with roughly half the file size. Recommended.</source>
        <translation>Scharfer Text bei etwa halber Dateigröße. Empfohlen.</translation>
    </message>
    <message>
        <source>Original PNG screenshots. Largest files.</source>
        <translation>Originale PNG-Bildschirmfotos. Größte Dateien.</translation>
    </message>
    <message>
        <source>Markdown (folder with images)…</source>
        <translation>Markdown (Ordner mit Bildern) …</translation>
    </message>
    <message>
        <source>HTML (single file)…</source>
        <translation>HTML (eine Datei) …</translation>
    </message>
    <message>
        <source>PDF…</source>
        <translation>PDF …</translation>
    </message>
    <message>
        <source>Word document (.docx)…</source>
        <translation>Word-Dokument (.docx) …</translation>
    </message>
    <message>
        <source>OpenDocument text (.odt)…</source>
        <translation>OpenDocument-Text (.odt) …</translation>
    </message>
</context>
<context>
    <name>trovix::ExportTool</name>
    <message>
        <source>Try “trovix-export --help” for more information.</source>
        <translation>Weitere Informationen mit „trovix-export --help“.</translation>
    </message>
    <message>
        <source>The saved guide folder (.trovix).</source>
        <translation>Der gespeicherte Anleitungsordner (.trovix).</translation>
    </message>
    <message>
        <source>small, balanced or full (default: the quality chosen in Trovix, else balanced).</source>
        <translation>small, balanced oder full (Vorgabe: die in Trovix gewählte Qualität, sonst balanced).</translation>
    </message>
    <message>
        <source>path</source>
        <translation>Pfad</translation>
    </message>
    <message>
        <source>no guide folder given</source>
        <translation>kein Anleitungsordner angegeben</translation>
    </message>
    <message>
        <source>only one guide folder can be exported at a time</source>
        <translation>es kann nur ein Anleitungsordner auf einmal exportiert werden</translation>
    </message>
    <message>
        <source>unknown quality “%1” (use small, balanced or full)</source>
        <translation>unbekannte Qualität „%1“ (small, balanced oder full verwenden)</translation>
    </message>
    <message>
        <source>--output needs a path</source>
        <translation>--output braucht einen Pfad</translation>
    </message>
    <message>
        <source>“%1” is not a folder</source>
        <translation>„%1“ ist kein Ordner</translation>
    </message>
    <message>
        <source>the export would be written into the guide folder “%1”; choose another place with --output</source>
        <translation>der Export würde in den Anleitungsordner „%1“ geschrieben; wählen Sie mit --output einen anderen Ort</translation>
    </message>
    <message>
        <source>Exporting step %1 of %2…</source>
        <translation>Schritt %1 von %2 wird exportiert …</translation>
    </message>
    <message>
        <source>Exported %1  %2 · %3 image quality</source>
        <translation>%1 exportiert  %2 · Bildqualität: %3</translation>
    </message>
    <message>
        <source>GUIDE_FOLDER</source>
        <translation>ANLEITUNGSORDNER</translation>
    </message>
    <message>
        <source>format</source>
        <translation>Format</translation>
    </message>
    <message>
        <source>quality</source>
        <translation>Qualität</translation>
    </message>
    <message>
        <source>Exports a Trovix guide folder as Markdown (a folder with guide.md and images), HTML (one file), PDF, or a Word (DOCX) or OpenDocument (ODT) document.
Without --output the export is written next to the guide folder.</source>
        <translation>Exportiert einen Trovix-Anleitungsordner als Markdown (ein Ordner mit guide.md und Bildern), HTML (eine Datei), PDF oder als Word- (DOCX) oder OpenDocument-Dokument (ODT).
Ohne --output wird der Export neben den Anleitungsordner geschrieben.</translation>
    </message>
    <message>
        <source>markdown, html, pdf, docx or odt.</source>
        <translation>markdown, html, pdf, docx oder odt.</translation>
    </message>
    <message>
        <source>The HTML, PDF, DOCX or ODT file, or a folder to put it in; for Markdown, the folder to create.</source>
        <translation>Die HTML-, PDF-, DOCX- oder ODT-Datei oder ein Ordner dafür; bei Markdown der anzulegende Ordner.</translation>
    </message>
    <message>
        <source>--format is required (markdown, html, pdf, docx or odt)</source>
        <translation>--format ist erforderlich (markdown, html, pdf, docx oder odt)</translation>
    </message>
    <message>
        <source>unknown format “%1” (use markdown, html, pdf, docx or odt)</source>
        <translation>unbekanntes Format „%1“ (markdown, html, pdf, docx oder odt verwenden)</translation>
    </message>
    <message>
        <source>1 region redacted</source>
        <translation>1 Bereich geschwärzt</translation>
    </message>
    <message>
        <source>%1 regions redacted</source>
        <translation>%1 Bereiche geschwärzt</translation>
    </message>
</context>
<context>
    <name>trovix::Exporter</name>
    <message>
        <source>Guide</source>
        <translation>Anleitung</translation>
    </message>
    <message>
        <source>Step %1</source>
        <translation>Schritt %1</translation>
    </message>
    <message>
        <source>The picture of step %1 could not be encoded for %2.</source>
        <translation>Das Bild von Schritt %1 konnte für %2 nicht kodiert werden.</translation>
    </message>
</context>
<context>
    <name>trovix::GnomeShellClicks</name>
    <message>
        <source>Switch On</source>
        <translation>Einschalten</translation>
    </message>
</context>
<context>
    <name>trovix::GnomeShellWatch</name>
    <message>
        <source>Another program holds Trovix’s name on the session bus (%1), so GNOME Shell would send it the clicks. Quit it, then try again.</source>
        <translation>Ein anderes Programm belegt Trovix’ Namen auf dem Sitzungsbus (%1), sodass GNOME Shell ihm die Klicks schicken würde. Beenden Sie es und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>GNOME Shell’s Trovix extension did not start recording: %1</source>
        <translation>Die Trovix-Erweiterung von GNOME Shell hat die Aufnahme nicht begonnen: %1</translation>
    </message>
    <message>
        <source>GNOME Shell stopped, so Trovix can no longer see your clicks.</source>
        <translation>GNOME Shell wurde beendet, daher sieht Trovix Ihre Klicks nicht mehr.</translation>
    </message>
    <message>
        <source>The “Trovix click recording” extension was switched off in GNOME Shell, so recording stopped. Switch it on again to record clicks.</source>
        <translation>Die Erweiterung „Trovix click recording“ wurde in GNOME Shell ausgeschaltet, daher wurde die Aufnahme beendet. Schalten Sie sie wieder ein, um Klicks aufzunehmen.</translation>
    </message>
    <message>
        <source>GNOME Shell’s Trovix extension stopped answering (%1), so recording stopped.</source>
        <translation>Die Trovix-Erweiterung von GNOME Shell antwortet nicht mehr (%1), daher wurde die Aufnahme beendet.</translation>
    </message>
</context>
<context>
    <name>trovix::Guide</name>
    <message>
        <source>Untitled guide</source>
        <translation>Unbenannte Anleitung</translation>
    </message>
</context>
<context>
    <name>trovix::GuideJson</name>
    <message>
        <source>The file %1 couldn’t be saved because %2 holds a number that can’t be stored (it is not a number or infinite).</source>
        <translation>Die Datei %1 konnte nicht gespeichert werden, weil %2 eine Zahl enthält, die sich nicht speichern lässt (keine Zahl oder unendlich).</translation>
    </message>
    <message>
        <source>%1 has no “%2”</source>
        <translation>%1 hat kein „%2“</translation>
    </message>
    <message>
        <source>%1 has no value for “%2”</source>
        <translation>%1 hat keinen Wert für „%2“</translation>
    </message>
    <message>
        <source>“%1” of %2 isn’t %3</source>
        <translation>„%1“ von %2 ist nicht %3</translation>
    </message>
    <message>
        <source>a string</source>
        <translation>eine Zeichenkette</translation>
    </message>
    <message>
        <source>a number</source>
        <translation>eine Zahl</translation>
    </message>
    <message>
        <source>a whole number</source>
        <translation>eine ganze Zahl</translation>
    </message>
    <message>
        <source>a list</source>
        <translation>eine Liste</translation>
    </message>
    <message>
        <source>“%1” of %2 isn’t a point of two numbers</source>
        <translation>„%1“ von %2 ist kein Punkt aus zwei Zahlen</translation>
    </message>
    <message>
        <source>“%1” of %2 isn’t a valid UUID</source>
        <translation>„%1“ von %2 ist keine gültige UUID</translation>
    </message>
    <message>
        <source>the guide</source>
        <translation>die Anleitung</translation>
    </message>
    <message>
        <source>step %1</source>
        <translation>Schritt %1</translation>
    </message>
    <message>
        <source>annotation %1 of step %2</source>
        <translation>Markierung %1 von Schritt %2</translation>
    </message>
    <message>
        <source>the scale of step %1</source>
        <translation>der Maßstab von Schritt %1</translation>
    </message>
    <message>
        <source>it isn’t valid JSON (%1 at byte %2)</source>
        <translation>sie ist kein gültiges JSON (%1 bei Byte %2)</translation>
    </message>
    <message>
        <source>it doesn’t hold a guide record</source>
        <translation>sie enthält keinen Anleitungsdatensatz</translation>
    </message>
    <message>
        <source>%1 isn’t an object</source>
        <translation>%1 ist kein Objekt</translation>
    </message>
    <message>
        <source>“kind” of %1 is %2, not one of 0…7</source>
        <translation>„kind“ von %1 ist %2, nicht einer der Werte 0…7</translation>
    </message>
    <message>
        <source>true or false</source>
        <translation>true oder false</translation>
    </message>
    <message>
        <source>covered region %1 of step %2</source>
        <translation>geschwärzter Bereich %1 von Schritt %2</translation>
    </message>
    <message>
        <source>“kind” of %1 is “%2”, not a known kind</source>
        <translation>„kind“ von %1 ist „%2“, keine bekannte Art</translation>
    </message>
    <message>
        <source>%1 isn’t a finite rectangle</source>
        <translation>%1 ist kein endliches Rechteck</translation>
    </message>
</context>
<context>
    <name>trovix::GuideStore</name>
    <message>
        <source>The folder %1 couldn’t be created in %2 because %3.</source>
        <translation>Der Ordner %1 konnte nicht in %2 angelegt werden, weil %3.</translation>
    </message>
    <message>
        <source>The picture of step %1 couldn’t be encoded as PNG, so the guide couldn’t be saved in %2.</source>
        <translation>Das Bild von Schritt %1 konnte nicht als PNG kodiert werden, deshalb konnte die Anleitung nicht in %2 gespeichert werden.</translation>
    </message>
    <message>
        <source>saved</source>
        <translation>gespeichert</translation>
    </message>
    <message>
        <source>the picture of step %1 (%2)</source>
        <translation>das Bild von Schritt %1 (%2)</translation>
    </message>
    <message>
        <source>%1 is missing</source>
        <translation>%1 fehlt</translation>
    </message>
    <message>
        <source>%1 couldn’t be read because %2</source>
        <translation>%1 nicht gelesen werden konnte, weil %2</translation>
    </message>
    <message>
        <source>%1 is damaged: %2</source>
        <translation>%1 beschädigt ist: %2</translation>
    </message>
    <message>
        <source>The guide in %1 couldn’t be opened because %2.</source>
        <translation>Die Anleitung in %1 konnte nicht geöffnet werden, weil %2.</translation>
    </message>
    <message>
        <source>opened</source>
        <translation>geöffnet</translation>
    </message>
</context>
<context>
    <name>trovix::HtmlWriter</name>
    <message numerus="yes">
        <source>%n steps · %1</source>
        <translation>
            <numerusform>%n Schritt · %1</numerusform>
            <numerusform>%n Schritte · %1</numerusform>
        </translation>
    </message>
    <message>
        <source>Step %1</source>
        <translation>Schritt %1</translation>
    </message>
</context>
<context>
    <name>trovix::ImageCodec</name>
    <message>
        <source>the file is empty</source>
        <translation>die Datei ist leer</translation>
    </message>
    <message>
        <source>it is not a PNG file</source>
        <translation>es ist keine PNG-Datei</translation>
    </message>
    <message>
        <source>the file ends without an end chunk</source>
        <translation>die Datei endet ohne End-Chunk</translation>
    </message>
    <message>
        <source>the file is truncated</source>
        <translation>die Datei ist abgeschnitten</translation>
    </message>
    <message>
        <source>a chunk has an impossible length</source>
        <translation>ein Chunk hat eine unmögliche Länge</translation>
    </message>
    <message>
        <source>a chunk has an invalid name</source>
        <translation>ein Chunk hat einen ungültigen Namen</translation>
    </message>
    <message>
        <source>a chunk’s checksum does not match (the file is damaged)</source>
        <translation>die Prüfsumme eines Chunks stimmt nicht (die Datei ist beschädigt)</translation>
    </message>
    <message>
        <source>the header chunk is missing</source>
        <translation>der Kopf-Chunk fehlt</translation>
    </message>
    <message>
        <source>there is a second header chunk</source>
        <translation>es gibt einen zweiten Kopf-Chunk</translation>
    </message>
    <message>
        <source>the header chunk has the wrong length</source>
        <translation>der Kopf-Chunk hat die falsche Länge</translation>
    </message>
    <message>
        <source>the picture has no pixels</source>
        <translation>das Bild hat keine Pixel</translation>
    </message>
    <message>
        <source>the picture is too large</source>
        <translation>das Bild ist zu groß</translation>
    </message>
    <message>
        <source>the header names an invalid colour type or bit depth</source>
        <translation>der Kopf gibt einen ungültigen Farbtyp oder eine ungültige Bittiefe an</translation>
    </message>
    <message>
        <source>the header names an unknown compression, filter or interlace method</source>
        <translation>der Kopf gibt eine unbekannte Kompressions-, Filter- oder Interlace-Methode an</translation>
    </message>
    <message>
        <source>the palette comes after the image data</source>
        <translation>die Palette steht hinter den Bilddaten</translation>
    </message>
    <message>
        <source>the palette has an invalid length</source>
        <translation>die Palette hat eine ungültige Länge</translation>
    </message>
    <message>
        <source>the image data is split by other chunks</source>
        <translation>die Bilddaten sind durch andere Chunks getrennt</translation>
    </message>
    <message>
        <source>the image data is not a valid compressed stream</source>
        <translation>die Bilddaten sind kein gültiger komprimierter Datenstrom</translation>
    </message>
    <message>
        <source>the end chunk has the wrong length</source>
        <translation>der End-Chunk hat die falsche Länge</translation>
    </message>
    <message>
        <source>there is no image data</source>
        <translation>es gibt keine Bilddaten</translation>
    </message>
    <message>
        <source>the palette is missing</source>
        <translation>die Palette fehlt</translation>
    </message>
    <message>
        <source>the image data is too short for the picture’s size</source>
        <translation>die Bilddaten sind für die Bildgröße zu kurz</translation>
    </message>
    <message>
        <source>the file has a critical chunk that cannot be read</source>
        <translation>die Datei hat einen kritischen Chunk, der nicht gelesen werden kann</translation>
    </message>
</context>
<context>
    <name>trovix::KWinClicks</name>
    <message>
        <source>Click recording in KDE Plasma needs Trovix’s KWin effect, “Trovix click recording”, which is not installed for the KWin that runs here. Install Trovix from its package built for this version of Plasma, then try again. Until then, capture each step with Capture Region (Ctrl+Alt+S).</source>
        <translation>Die Klickaufnahme in KDE Plasma braucht Trovix’ KWin-Effekt „Trovix click recording“, der für das laufende KWin nicht installiert ist. Installieren Sie Trovix aus seinem Paket für diese Plasma-Version und versuchen Sie es erneut. Bis dahin nehmen Sie jeden Schritt mit „Bereich aufnehmen“ (Strg+Alt+S) auf.</translation>
    </message>
    <message>
        <source>KWin did not load Trovix’s effect “Trovix click recording”%1. Reinstall Trovix from its package built for this version of Plasma, then try again.</source>
        <translation>KWin hat Trovix’ Effekt „Trovix click recording“ nicht geladen%1. Installieren Sie Trovix aus seinem Paket für diese Plasma-Version neu und versuchen Sie es erneut.</translation>
    </message>
</context>
<context>
    <name>trovix::KWinScreenGrabber</name>
    <message>
        <source>no screen is connected</source>
        <translation>kein Bildschirm ist angeschlossen</translation>
    </message>
    <message>
        <source>KWin did not answer</source>
        <translation>KWin hat nicht geantwortet</translation>
    </message>
    <message>
        <source>KWin answered with a picture Trovix cannot read</source>
        <translation>KWin hat mit einem Bild geantwortet, das Trovix nicht lesen kann</translation>
    </message>
    <message>
        <source>KWin’s picture arrived incomplete</source>
        <translation>Das Bild von KWin kam unvollständig an</translation>
    </message>
    <message>
        <source>KWin gave no screenshot (%1), and neither did the portal: %2</source>
        <translation>KWin hat kein Bildschirmfoto geliefert (%1), und das Portal auch nicht: %2</translation>
    </message>
</context>
<context>
    <name>trovix::KWinWatch</name>
    <message>
        <source>Another program holds Trovix’s name on the session bus (%1), so KWin would send it the clicks. Quit it, then try again.</source>
        <translation>Ein anderes Programm belegt Trovix’ Namen auf dem Sitzungsbus (%1), sodass KWin ihm die Klicks schicken würde. Beenden Sie es und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>KWin’s Trovix effect did not start recording: %1</source>
        <translation>Der Trovix-Effekt von KWin hat die Aufnahme nicht begonnen: %1</translation>
    </message>
    <message>
        <source>KWin stopped, so Trovix can no longer see your clicks.</source>
        <translation>KWin wurde beendet, daher kann Trovix Ihre Klicks nicht mehr sehen.</translation>
    </message>
    <message>
        <source>KWin’s Trovix effect stopped answering (%1), so recording stopped.</source>
        <translation>Der Trovix-Effekt von KWin antwortet nicht mehr (%1), daher wurde die Aufnahme beendet.</translation>
    </message>
</context>
<context>
    <name>trovix::Library</name>
    <message>
        <source>The folder %1 didn’t answer within %2 seconds: the disk it is on may be slow or no longer connected.</source>
        <translation>Der Ordner %1 hat nicht innerhalb von %2 Sekunden geantwortet: Das Laufwerk, auf dem er liegt, ist vielleicht langsam oder nicht mehr verbunden.</translation>
    </message>
</context>
<context>
    <name>trovix::LibraryModel</name>
    <message>
        <source>Choose the folder Trovix should list and save guides in</source>
        <translation>Wählen Sie den Ordner, in dem Trovix Anleitungen auflisten und speichern soll</translation>
    </message>
    <message>
        <source>Use This Folder</source>
        <translation>Diesen Ordner verwenden</translation>
    </message>
</context>
<context>
    <name>trovix::LibraryView</name>
    <message>
        <source>Search guides</source>
        <translation>Anleitungen durchsuchen</translation>
    </message>
    <message>
        <source>No saved guides yet</source>
        <translation>Noch keine gespeicherten Anleitungen</translation>
    </message>
    <message>
        <source>Guides you save with Ctrl+S appear here.</source>
        <translation>Anleitungen, die Sie mit Strg+S speichern, erscheinen hier.</translation>
    </message>
    <message>
        <source>No guides match “%1”</source>
        <translation>Keine Anleitungen passen zu „%1“</translation>
    </message>
    <message>
        <source>Couldn’t open “%1”</source>
        <translation>„%1“ konnte nicht geöffnet werden</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>trovix::LibraryWindow</name>
    <message>
        <source>Guides Library</source>
        <translation>Anleitungsbibliothek</translation>
    </message>
</context>
<context>
    <name>trovix::LibraryWindowController</name>
    <message>
        <source>Library</source>
        <translation>Bibliothek</translation>
    </message>
    <message>
        <source>Choose Folder…</source>
        <translation>Ordner wählen …</translation>
    </message>
    <message>
        <source>Show in File Manager</source>
        <translation>Im Dateimanager anzeigen</translation>
    </message>
    <message>
        <source>Refresh</source>
        <translation>Aktualisieren</translation>
    </message>
</context>
<context>
    <name>trovix::MainMenu</name>
    <message>
        <source>Hide Trovix</source>
        <translation>Trovix ausblenden</translation>
    </message>
    <message>
        <source>Quit Trovix</source>
        <translation>Trovix beenden</translation>
    </message>
    <message>
        <source>File</source>
        <translation>Datei</translation>
    </message>
    <message>
        <source>New Guide</source>
        <translation>Neue Anleitung</translation>
    </message>
    <message>
        <source>Open…</source>
        <translation>Öffnen …</translation>
    </message>
    <message>
        <source>Open Recent</source>
        <translation>Zuletzt geöffnet</translation>
    </message>
    <message>
        <source>Capture Region</source>
        <translation>Bereich aufnehmen</translation>
    </message>
    <message>
        <source>Start/Stop Click Recording</source>
        <translation>Klickaufzeichnung starten/beenden</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Speichern</translation>
    </message>
    <message>
        <source>Save As…</source>
        <translation>Speichern unter …</translation>
    </message>
    <message>
        <source>Close Window</source>
        <translation>Fenster schließen</translation>
    </message>
    <message>
        <source>Edit</source>
        <translation>Bearbeiten</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Rückgängig</translation>
    </message>
    <message>
        <source>Redo</source>
        <translation>Wiederholen</translation>
    </message>
    <message>
        <source>Cut</source>
        <translation>Ausschneiden</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Paste</source>
        <translation>Einfügen</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Alles auswählen</translation>
    </message>
    <message>
        <source>Window</source>
        <translation>Fenster</translation>
    </message>
    <message>
        <source>Minimize</source>
        <translation>Minimieren</translation>
    </message>
    <message>
        <source>Show Trovix</source>
        <translation>Trovix anzeigen</translation>
    </message>
    <message>
        <source>Guides Library</source>
        <translation>Anleitungsbibliothek</translation>
    </message>
    <message>
        <source>Clear Menu</source>
        <translation>Menü leeren</translation>
    </message>
    <message>
        <source>Preferences…</source>
        <translation>Einstellungen …</translation>
    </message>
    <message>
        <source>Redact Secrets…</source>
        <translation>Geheimnisse schwärzen …</translation>
    </message>
    <message>
        <source>Record Typing and Keys</source>
        <translation>Tippen und Tasten aufnehmen</translation>
    </message>
    <message>
        <source>Text typed into fields and key combinations become steps while recording; what is typed into a password field is never recorded</source>
        <translation>Beim Aufnehmen werden in Felder getippter Text und Tastenkombinationen zu Schritten; was in ein Passwortfeld getippt wird, wird nie aufgenommen</translation>
    </message>
</context>
<context>
    <name>trovix::MainToolBar</name>
    <message>
        <source>Toolbar</source>
        <translation>Werkzeugleiste</translation>
    </message>
    <message>
        <source>Capture Region</source>
        <translation>Bereich aufnehmen</translation>
    </message>
    <message>
        <source>Capture a region (Ctrl+Alt+S)</source>
        <translation>Einen Bereich aufnehmen (Strg+Alt+S)</translation>
    </message>
    <message>
        <source>Record Clicks</source>
        <translation>Klicks aufzeichnen</translation>
    </message>
    <message>
        <source>Record a screenshot on every click (Ctrl+Alt+R)</source>
        <translation>Bei jedem Klick ein Bildschirmfoto aufnehmen (Strg+Alt+R)</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>New Guide</source>
        <translation>Neue Anleitung</translation>
    </message>
    <message>
        <source>Start a new guide (Ctrl+N)</source>
        <translation>Eine neue Anleitung beginnen (Strg+N)</translation>
    </message>
    <message>
        <source>Library</source>
        <translation>Bibliothek</translation>
    </message>
    <message>
        <source>Browse saved guides (Shift+Ctrl+L)</source>
        <translation>Gespeicherte Anleitungen durchsehen (Umschalt+Strg+L)</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Speichern</translation>
    </message>
    <message>
        <source>Save this guide (Ctrl+S)</source>
        <translation>Diese Anleitung speichern (Strg+S)</translation>
    </message>
    <message>
        <source>Stop Recording</source>
        <translation>Aufzeichnung beenden</translation>
    </message>
</context>
<context>
    <name>trovix::MainView</name>
    <message>
        <source>Guide title</source>
        <translation>Titel der Anleitung</translation>
    </message>
    <message>
        <source>Steps</source>
        <translation>Schritte</translation>
    </message>
    <message>
        <source>Take a screenshot
Ctrl+Alt+S</source>
        <translation>Bildschirmfoto aufnehmen
Strg+Alt+S</translation>
    </message>
</context>
<context>
    <name>trovix::NullPlatform</name>
    <message>
        <source>Trovix can’t capture the screen in this session: screen capture works in X11 and Wayland sessions, and this session uses the “%1” display platform.</source>
        <translation>Trovix kann den Bildschirm in dieser Sitzung nicht aufnehmen: Bildschirmaufnahmen gehen in X11- und Wayland-Sitzungen, und diese Sitzung verwendet die Anzeigeplattform „%1“.</translation>
    </message>
    <message>
        <source>Global hot keys work in X11 and Wayland sessions; this session uses the “%1” display platform.</source>
        <translation>Globale Tastenkürzel gehen in X11- und Wayland-Sitzungen; diese Sitzung verwendet die Anzeigeplattform „%1“.</translation>
    </message>
    <message>
        <source>Click recording works in X11 sessions; this session uses the “%1” display platform. Capture each step with Capture Region instead.</source>
        <translation>Klicks lassen sich in X11-Sitzungen aufzeichnen; diese Sitzung verwendet die Anzeigeplattform „%1“. Nehmen Sie jeden Schritt stattdessen mit „Bereich aufnehmen“ auf.</translation>
    </message>
</context>
<context>
    <name>trovix::OutputFile</name>
    <message>
        <source>Could not write %1</source>
        <translation>%1 konnte nicht geschrieben werden</translation>
    </message>
    <message>
        <source>a folder of that name is in the way</source>
        <translation>ein Ordner dieses Namens ist im Weg</translation>
    </message>
    <message>
        <source>Could not create %1</source>
        <translation>%1 konnte nicht angelegt werden</translation>
    </message>
    <message>
        <source>Could not save %1</source>
        <translation>%1 konnte nicht gespeichert werden</translation>
    </message>
    <message>
        <source>Could not create the folder %1</source>
        <translation>Der Ordner %1 konnte nicht angelegt werden</translation>
    </message>
    <message>
        <source>%1 is a file, not a folder</source>
        <translation>%1 ist eine Datei, kein Ordner</translation>
    </message>
</context>
<context>
    <name>trovix::OverlayWindow</name>
    <message>
        <source>Trovix Capture</source>
        <translation>Trovix-Aufnahme</translation>
    </message>
</context>
<context>
    <name>trovix::PdfImageEmbedder</name>
    <message>
        <source>a picture is not PNG data a PDF can hold as it is</source>
        <translation>ein Bild besteht nicht aus PNG-Daten, die ein PDF unverändert aufnehmen kann</translation>
    </message>
    <message>
        <source>no temporary file could be made in %1 (%2)</source>
        <translation>in %1 ließ sich keine temporäre Datei anlegen (%2)</translation>
    </message>
    <message>
        <source>its temporary file could not be written (%1)</source>
        <translation>die zugehörige temporäre Datei ließ sich nicht schreiben (%1)</translation>
    </message>
    <message>
        <source>its temporary file could not be read back (%1)</source>
        <translation>die zugehörige temporäre Datei ließ sich nicht wieder lesen (%1)</translation>
    </message>
    <message>
        <source>picture %1 has no place in the layout</source>
        <translation>Bild %1 hat keinen Platz im Seitenaufbau</translation>
    </message>
</context>
<context>
    <name>trovix::PdfWriter</name>
    <message>
        <source>Page %1</source>
        <translation>Seite %1</translation>
    </message>
    <message>
        <source>%1 step  ·  %2</source>
        <translation>%1 Schritt  ·  %2</translation>
    </message>
    <message>
        <source>%1 steps  ·  %2</source>
        <translation>%1 Schritte  ·  %2</translation>
    </message>
    <message>
        <source>Could not write %1: %2.</source>
        <translation>%1 konnte nicht geschrieben werden: %2.</translation>
    </message>
</context>
<context>
    <name>trovix::PortalGlobalKeys</name>
    <message>
        <source>This desktop offers no global shortcuts to applications. Bind “trovix --capture” and “trovix --toggle-recording” to keys in your desktop’s keyboard settings instead.</source>
        <translation>Dieser Desktop bietet Anwendungen keine globalen Tastenkürzel an. Legen Sie „trovix --capture“ und „trovix --toggle-recording“ stattdessen in den Tastatureinstellungen Ihres Desktops auf Tasten.</translation>
    </message>
    <message>
        <source>The desktop did not set up Trovix’s global shortcuts (%1). Bind “trovix --capture” and “trovix --toggle-recording” to keys in your desktop’s keyboard settings instead.</source>
        <translation>Der Desktop hat die globalen Tastenkürzel von Trovix nicht eingerichtet (%1). Legen Sie „trovix --capture“ und „trovix --toggle-recording“ stattdessen in den Tastatureinstellungen Ihres Desktops auf Tasten.</translation>
    </message>
    <message>
        <source>Capture a region of the screen as a new step</source>
        <translation>Einen Bildschirmbereich als neuen Schritt aufnehmen</translation>
    </message>
    <message>
        <source>Start or stop recording clicks as steps</source>
        <translation>Aufzeichnung von Klicks als Schritte starten oder beenden</translation>
    </message>
    <message>
        <source>Trovix shortcut</source>
        <translation>Trovix-Tastenkürzel</translation>
    </message>
    <message>
        <source>no session</source>
        <translation>keine Sitzung</translation>
    </message>
    <message>
        <source>the shortcuts were refused</source>
        <translation>die Tastenkürzel wurden abgelehnt</translation>
    </message>
</context>
<context>
    <name>trovix::PortalScreenGrabber</name>
    <message>
        <source>The desktop did not allow Trovix to take a screenshot (%1).</source>
        <translation>Der Desktop hat Trovix kein Bildschirmfoto erlaubt (%1).</translation>
    </message>
    <message>
        <source>The desktop’s screenshot service did not answer within %1 seconds.</source>
        <translation>Der Bildschirmfoto-Dienst des Desktops hat nicht innerhalb von %1 Sekunden geantwortet.</translation>
    </message>
    <message>
        <source>the request was cancelled</source>
        <translation>die Anfrage wurde abgebrochen</translation>
    </message>
    <message>
        <source>the request was refused</source>
        <translation>die Anfrage wurde abgelehnt</translation>
    </message>
    <message>
        <source>The desktop’s screenshot service answered without a picture file (“%1”).</source>
        <translation>Der Bildschirmfoto-Dienst des Desktops hat ohne Bilddatei geantwortet („%1“).</translation>
    </message>
    <message>
        <source>Trovix couldn’t read the screenshot “%1”: %2.</source>
        <translation>Trovix konnte das Bildschirmfoto „%1“ nicht lesen: %2.</translation>
    </message>
    <message>
        <source>The desktop’s screenshot service answered with an old picture, “%1”.</source>
        <translation>Der Bildschirmfoto-Dienst des Desktops hat mit einem alten Bild geantwortet, „%1“.</translation>
    </message>
    <message>
        <source>Trovix couldn’t capture the screen: no screen is connected.</source>
        <translation>Trovix konnte den Bildschirm nicht aufnehmen: Es ist kein Bildschirm angeschlossen.</translation>
    </message>
    <message>
        <source>Trovix couldn’t capture the screen: it is no longer connected.</source>
        <translation>Trovix konnte den Bildschirm nicht aufnehmen: Er ist nicht mehr angeschlossen.</translation>
    </message>
    <message>
        <source>not a picture Trovix can read</source>
        <translation>kein Bild, das Trovix lesen kann</translation>
    </message>
</context>
<context>
    <name>trovix::SessionClickMonitor</name>
    <message>
        <source>The browser extension disconnected, and this desktop lets Trovix see clicks in the browser only.</source>
        <translation>Die Browser-Erweiterung wurde getrennt, und dieser Desktop lässt Trovix Klicks nur im Browser sehen.</translation>
    </message>
    <message>
        <source>Clicks are recorded in the browser only: this desktop lets no application see clicks in other windows.</source>
        <translation>Klicks werden nur im Browser aufgenommen: Dieser Desktop lässt keine Anwendung Klicks in anderen Fenstern sehen.</translation>
    </message>
</context>
<context>
    <name>trovix::ShellExtension</name>
    <message>
        <source>GNOME Shell did not switch the extension on.</source>
        <translation>GNOME Shell hat die Erweiterung nicht eingeschaltet.</translation>
    </message>
    <message>
        <source>Click recording in GNOME needs the “Trovix click recording” extension, which is installed but switched off. Switch it on in the Extensions application (or run “gnome-extensions enable trovix@trovix.github.io”), then try again.</source>
        <translation>Die Klickaufnahme in GNOME braucht die Erweiterung „Trovix click recording“, die installiert, aber ausgeschaltet ist. Schalten Sie sie in der Anwendung Erweiterungen ein (oder führen Sie „gnome-extensions enable trovix@trovix.github.io“ aus) und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>GNOME Shell could not run the “Trovix click recording” extension (it may not support this version of GNOME). Reinstall Trovix, log out and back in, then try again.</source>
        <translation>GNOME Shell konnte die Erweiterung „Trovix click recording“ nicht ausführen (sie unterstützt diese GNOME-Version womöglich nicht). Installieren Sie Trovix neu, melden Sie sich ab und wieder an und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>Click recording in GNOME needs the “Trovix click recording” extension, which GNOME Shell loads at login. Log out and back in, switch the extension on in the Extensions application, then try again.</source>
        <translation>Die Klickaufnahme in GNOME braucht die Erweiterung „Trovix click recording“, die GNOME Shell bei der Anmeldung lädt. Melden Sie sich ab und wieder an, schalten Sie die Erweiterung in der Anwendung Erweiterungen ein und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>Click recording in GNOME needs the “Trovix click recording” Shell extension, which is not installed. Install Trovix from its package, log out and back in, and switch the extension on. Until then, capture each step with Capture Region (Ctrl+Alt+S).</source>
        <translation>Die Klickaufnahme in GNOME braucht die Shell-Erweiterung „Trovix click recording“, die nicht installiert ist. Installieren Sie Trovix aus seinem Paket, melden Sie sich ab und wieder an und schalten Sie die Erweiterung ein. Bis dahin nehmen Sie jeden Schritt mit „Bereich aufnehmen“ (Strg+Alt+S) auf.</translation>
    </message>
</context>
<context>
    <name>trovix::PreferencesDialog</name>
    <message>
        <source>Password fields</source>
        <translation>Passwortfelder</translation>
    </message>
    <message>
        <source>E-mail addresses</source>
        <translation>E-Mail-Adressen</translation>
    </message>
    <message>
        <source>Payment card numbers</source>
        <translation>Kartennummern</translation>
    </message>
    <message>
        <source>IBANs</source>
        <translation>IBANs</translation>
    </message>
    <message>
        <source>IP addresses</source>
        <translation>IP-Adressen</translation>
    </message>
    <message>
        <source>Access tokens and keys</source>
        <translation>Zugangstoken und Schlüssel</translation>
    </message>
    <message>
        <source>Your own words:</source>
        <translation>Ihre eigenen Wörter:</translation>
    </message>
    <message>
        <source>Preferences</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Redaction</source>
        <translation>Schwärzen</translation>
    </message>
    <message>
        <source>Trovix reads the text on every new step, on this computer only, and covers these with a solid colour before the step is saved:</source>
        <translation>Trovix liest den Text jedes neuen Schritts, nur auf diesem Computer, und überdeckt Folgendes mit einer deckenden Farbe, bevor der Schritt gespeichert wird:</translation>
    </message>
    <message>
        <source>Customer names, host names… one a line</source>
        <translation>Kundennamen, Rechnernamen … eines pro Zeile</translation>
    </message>
</context>
<context>
    <name>trovix::RedactCommand</name>
    <message>
        <source>Trovix can’t read text on this computer</source>
        <translation>Trovix kann auf diesem Computer keinen Text lesen</translation>
    </message>
    <message>
        <source>Redacting secrets needs Tesseract and its English data (the packages libtesseract5 and tesseract-ocr-eng).</source>
        <translation>Zum Schwärzen von Geheimnissen werden Tesseract und seine englischen Sprachdaten benötigt (die Pakete libtesseract5 und tesseract-ocr-eng).</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Looking for secrets…</source>
        <translation>Suche nach Geheimnissen …</translation>
    </message>
    <message>
        <source>No secrets found</source>
        <translation>Keine Geheimnisse gefunden</translation>
    </message>
    <message>
        <source>1 password field</source>
        <translation>1 Passwortfeld</translation>
    </message>
    <message>
        <source>%1 password fields</source>
        <translation>%1 Passwortfelder</translation>
    </message>
    <message>
        <source>1 e-mail address</source>
        <translation>1 E-Mail-Adresse</translation>
    </message>
    <message>
        <source>%1 e-mail addresses</source>
        <translation>%1 E-Mail-Adressen</translation>
    </message>
    <message>
        <source>1 card number</source>
        <translation>1 Kartennummer</translation>
    </message>
    <message>
        <source>%1 card numbers</source>
        <translation>%1 Kartennummern</translation>
    </message>
    <message>
        <source>1 IBAN</source>
        <translation>1 IBAN</translation>
    </message>
    <message>
        <source>%1 IBANs</source>
        <translation>%1 IBANs</translation>
    </message>
    <message>
        <source>1 IP address</source>
        <translation>1 IP-Adresse</translation>
    </message>
    <message>
        <source>%1 IP addresses</source>
        <translation>%1 IP-Adressen</translation>
    </message>
    <message>
        <source>1 key or token</source>
        <translation>1 Schlüssel oder Token</translation>
    </message>
    <message>
        <source>%1 keys or tokens</source>
        <translation>%1 Schlüssel oder Token</translation>
    </message>
    <message>
        <source>1 of your words</source>
        <translation>1 Ihrer Wörter</translation>
    </message>
    <message>
        <source>%1 of your words</source>
        <translation>%1 Ihrer Wörter</translation>
    </message>
    <message>
        <source>1 region covered by hand</source>
        <translation>1 von Hand geschwärzter Bereich</translation>
    </message>
    <message>
        <source>%1 regions covered by hand</source>
        <translation>%1 von Hand geschwärzte Bereiche</translation>
    </message>
    <message>
        <source>Covered 1 region</source>
        <translation>1 Bereich geschwärzt</translation>
    </message>
    <message>
        <source>Covered %1 regions</source>
        <translation>%1 Bereiche geschwärzt</translation>
    </message>
    <message>
        <source>Trovix found nothing to cover on the one step of this guide.</source>
        <translation>Trovix hat auf dem einen Schritt dieser Anleitung nichts zu schwärzen gefunden.</translation>
    </message>
    <message>
        <source>Trovix found nothing to cover on the %1 steps of this guide.</source>
        <translation>Trovix hat auf den %1 Schritten dieser Anleitung nichts zu schwärzen gefunden.</translation>
    </message>
</context>
<context>
    <name>trovix::RedactionOverlay</name>
    <message>
        <source>Redacted regions</source>
        <translation>Geschwärzte Bereiche</translation>
    </message>
</context>
<context>
    <name>trovix::StatusItem</name>
    <message>
        <source>Stop Recording Clicks  (Ctrl+Alt+R)</source>
        <translation>Klickaufzeichnung beenden  (Strg+Alt+R)</translation>
    </message>
    <message>
        <source>Record Clicks  (Ctrl+Alt+R)</source>
        <translation>Klicks aufzeichnen  (Strg+Alt+R)</translation>
    </message>
    <message>
        <source> — 1 step</source>
        <translation> — 1 Schritt</translation>
    </message>
    <message>
        <source> — %1 steps</source>
        <translation> — %1 Schritte</translation>
    </message>
    <message>
        <source> (recording clicks)</source>
        <translation> (zeichnet Klicks auf)</translation>
    </message>
    <message>
        <source>Show Trovix</source>
        <translation>Trovix anzeigen</translation>
    </message>
    <message>
        <source>Guides Library</source>
        <translation>Anleitungsbibliothek</translation>
    </message>
    <message>
        <source>Capture Region  (Ctrl+Alt+S)</source>
        <translation>Bereich aufnehmen  (Strg+Alt+S)</translation>
    </message>
    <message>
        <source>Quit Trovix</source>
        <translation>Trovix beenden</translation>
    </message>
    <message>
        <source>Record Typing and Keys</source>
        <translation>Tippen und Tasten aufnehmen</translation>
    </message>
</context>
<context>
    <name>trovix::StepListModel</name>
    <message>
        <source>Checking for secrets…</source>
        <translation>Wird auf Geheimnisse geprüft …</translation>
    </message>
</context>
<context>
    <name>trovix::StepDetail</name>
    <message>
        <source>Step title</source>
        <translation>Titel des Schritts</translation>
    </message>
    <message>
        <source>Add a note (optional)</source>
        <translation>Notiz hinzufügen (optional)</translation>
    </message>
    <message>
        <source>Note</source>
        <translation>Notiz</translation>
    </message>
    <message>
        <source>Annotate…</source>
        <translation>Markieren …</translation>
    </message>
    <message>
        <source>Delete Step</source>
        <translation>Schritt löschen</translation>
    </message>
    <message>
        <source>Select a step.</source>
        <translation>Wählen Sie einen Schritt.</translation>
    </message>
    <message>
        <source>Capture a region or record clicks to add steps.</source>
        <translation>Nehmen Sie einen Bereich auf oder zeichnen Sie Klicks auf, um Schritte hinzuzufügen.</translation>
    </message>
</context>
<context>
    <name>trovix::StoreErrors</name>
    <message>
        <source>%1 in %2</source>
        <translation>%1 in %2</translation>
    </message>
    <message>
        <source>there isn’t enough space on the disk</source>
        <translation>auf dem Datenträger nicht genug Platz ist</translation>
    </message>
    <message>
        <source>you don’t have permission</source>
        <translation>Sie keine Berechtigung haben</translation>
    </message>
    <message>
        <source>the disk is read-only</source>
        <translation>der Datenträger schreibgeschützt ist</translation>
    </message>
    <message>
        <source>there is no such file or folder</source>
        <translation>es diese Datei oder diesen Ordner nicht gibt</translation>
    </message>
    <message>
        <source>part of its path is not a folder</source>
        <translation>ein Teil ihres Pfades kein Ordner ist</translation>
    </message>
    <message>
        <source>it is a folder</source>
        <translation>es ein Ordner ist</translation>
    </message>
    <message>
        <source>a file of that name is in the way</source>
        <translation>eine Datei dieses Namens im Weg ist</translation>
    </message>
    <message>
        <source>its name is too long</source>
        <translation>ihr Name zu lang ist</translation>
    </message>
    <message>
        <source>the disk reported an input/output error</source>
        <translation>der Datenträger einen Ein-/Ausgabefehler gemeldet hat</translation>
    </message>
    <message>
        <source>of an unknown error</source>
        <translation>ein unbekannter Fehler auftrat</translation>
    </message>
    <message>
        <source>The file %1 couldn’t be %2 because %3.</source>
        <translation>Die Datei %1 konnte nicht %2 werden, weil %3.</translation>
    </message>
    <message>
        <source>The file %1 couldn’t be read because it isn’t in the correct format: %2.</source>
        <translation>Die Datei %1 konnte nicht gelesen werden, weil sie nicht im richtigen Format ist: %2.</translation>
    </message>
    <message>
        <source>it is not a regular file</source>
        <translation>es sich nicht um eine normale Datei handelt</translation>
    </message>
    <message>
        <source>it is a link to a file outside the guide folder</source>
        <translation>es sich um eine Verknüpfung zu einer Datei außerhalb des Anleitungsordners handelt</translation>
    </message>
    <message>
        <source>it is larger than %1</source>
        <translation>die Datei größer als %1 ist</translation>
    </message>
    <message>
        <source>it is too large</source>
        <translation>die Datei zu groß ist</translation>
    </message>
    <message>
        <source>it is a link that leads round in a circle</source>
        <translation>es sich um eine Verknüpfung handelt, die im Kreis führt</translation>
    </message>
</context>
<context>
    <name>trovix::TextPrompt</name>
    <message>
        <source>Annotation text</source>
        <translation>Text der Markierung</translation>
    </message>
    <message>
        <source>Add</source>
        <translation>Hinzufügen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>trovix::WaylandClickMonitor</name>
    <message>
        <source>Click recording needs an X11 session: Wayland lets no application see clicks in other applications’ windows. Choose an X11 (Xorg) session when you log in to record clicks, or capture each step with Capture Region (Ctrl+Alt+S).</source>
        <translation>Die Klickaufzeichnung braucht eine X11-Sitzung: Unter Wayland sieht keine Anwendung die Klicks in den Fenstern anderer Anwendungen. Wählen Sie beim Anmelden eine X11-Sitzung (Xorg), um Klicks aufzuzeichnen, oder nehmen Sie jeden Schritt mit „Bereich aufnehmen“ (Strg+Alt+S) auf.</translation>
    </message>
</context>
<context>
    <name>trovix::WidgetDialogs</name>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>“%1” already exists. Do you want to replace it?</source>
        <translation>„%1“ existiert bereits. Möchten Sie es ersetzen?</translation>
    </message>
    <message>
        <source>Replace</source>
        <translation>Ersetzen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>trovix::X11ScreenGrabber</name>
    <message>
        <source>Trovix couldn’t capture the screen area %1 × %2 at (%3, %4): %5</source>
        <translation>Trovix konnte den Bildschirmbereich %1 × %2 bei (%3, %4) nicht aufnehmen: %5</translation>
    </message>
    <message>
        <source>the connection to the X display was lost.</source>
        <translation>die Verbindung zum X-Display ist abgebrochen.</translation>
    </message>
    <message>
        <source>the X display did not answer.</source>
        <translation>das X-Display hat nicht geantwortet.</translation>
    </message>
    <message>
        <source>that screen is no longer connected.</source>
        <translation>dieser Bildschirm ist nicht mehr angeschlossen.</translation>
    </message>
    <message>
        <source>the X server refused the image request (error %1).</source>
        <translation>der X-Server hat die Bildanfrage abgelehnt (Fehler %1).</translation>
    </message>
    <message>
        <source>the screen’s pixel format (depth %1) is not supported.</source>
        <translation>das Pixelformat des Bildschirms (Tiefe %1) wird nicht unterstützt.</translation>
    </message>
    <message>
        <source>there is not enough memory for the image.</source>
        <translation>es ist nicht genug Speicher für das Bild vorhanden.</translation>
    </message>
</context>
<context>
    <name>trovix::TypingTracker</name>
    <message>
        <source>Type the password in “%1”</source>
        <translation>Passwort in „%1“ eingeben</translation>
    </message>
    <message>
        <source>Type the password%1</source>
        <translation>Passwort eingeben%1</translation>
    </message>
    <message>
        <source>Clear “%1”</source>
        <translation>„%1“ leeren</translation>
    </message>
    <message>
        <source>Clear the field%1</source>
        <translation>Feld leeren%1</translation>
    </message>
    <message>
        <source>Type “%1” in “%2”</source>
        <translation>„%1“ in „%2“ eingeben</translation>
    </message>
    <message>
        <source>Type “%1”%2</source>
        <translation>„%1“ eingeben%2</translation>
    </message>
    <message>
        <source>Press %1%2</source>
        <translation>%1 drücken%2</translation>
    </message>
</context>
<context>
    <name>trovix::XInputKeyMonitor</name>
    <message>
        <source>The X server lacks the keyboard extension (XKB).</source>
        <translation>Dem X-Server fehlt die Tastaturerweiterung (XKB).</translation>
    </message>
    <message>
        <source>The keyboard's keymap cannot be read.</source>
        <translation>Die Tastaturbelegung lässt sich nicht lesen.</translation>
    </message>
</context>
<context>
    <name>trovix::XInputListener</name>
    <message>
        <source>The X display cannot be opened.</source>
        <translation>Das X-Display lässt sich nicht öffnen.</translation>
    </message>
    <message>
        <source>The X display has no screen %1.</source>
        <translation>Das X-Display hat keinen Bildschirm %1.</translation>
    </message>
    <message>
        <source>The X server lacks the XInput extension.</source>
        <translation>Dem X-Server fehlt die XInput-Erweiterung.</translation>
    </message>
    <message>
        <source>The X server lacks XInput 2.1.</source>
        <translation>Dem X-Server fehlt XInput 2.1.</translation>
    </message>
    <message>
        <source>The input monitor cannot make its wake-up descriptor.</source>
        <translation>Die Eingabeüberwachung kann ihren Weck-Deskriptor nicht anlegen.</translation>
    </message>
</context>
</TS>
