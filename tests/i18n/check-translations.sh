#!/usr/bin/env bash
# Fails when a text of the sources is not translated: lupdate brings the sources' texts into a copy of
# each committed .ts file, and any entry it adds or leaves unfinished is listed. It also fails on texts
# handed to widgets, dialogs or errors without tr(), which lupdate cannot see.
# Usage: check-translations.sh LUPDATE SOURCE_DIR TS_FILE...
set -u
lupdate=$1 sources=$2
shift 2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
status=0

for ts in "$@"; do
    copy="$tmp/$(basename "$ts")"
    cp "$ts" "$copy"
    if ! "$lupdate" -silent -locations none -no-obsolete "$sources" -ts "$copy" >"$tmp/lupdate.log" 2>&1 ||
        grep -q 'warning\|error' "$tmp/lupdate.log"; then
        echo "lupdate failed or warned on $sources:" >&2
        cat "$tmp/lupdate.log" >&2
        status=1
    fi
    # The source of each message whose translation is unfinished (new entries are unfinished too).
    untranslated=$(awk '
        /<source>/ { source = $0; sub(/.*<source>/, "", source); open = 1 }
        open && !/<source>/ { source = source "\\n" $0 }
        /<\/source>/ { open = 0; sub(/<\/source>.*/, "", source) }
        /<translation type="unfinished"/ { print "  " source }
    ' "$copy")
    if [ -n "$untranslated" ]; then
        echo "$(basename "$ts") lacks translations for:" >&2
        echo "$untranslated" >&2
        echo "(run: cmake --build <build dir> --target update_translations, then translate them)" >&2
        status=1
    fi
done

# Literal texts where the user reads them. The product name alone is the same in every language.
setters='setText|setToolTip|setPlaceholderText|setWindowTitle|setAccessibleName|setAccessibleDescription|setStatusTip|setWhatsThis|setLabelText|setInformativeText|addMenu|addAction|addButton|addTab|showMessage|setApplicationDescription|addPositionalArgument'
bare=$(grep -rnE --include='*.cpp' --include='*.h' \
    -e "($setters)\((QStringLiteral\(|QLatin1String\(|u)?\"[^\"]*[A-Za-z]" \
    -e "\.(message|informativeText|title|prompt|proposedName) = (QStringLiteral|QLatin1String)\(\"" \
    -e "(buttons = \{|QStringList\{)QStringLiteral\(\"[^\"]*[A-Za-z]" \
    -e "new Q(Label|PushButton|ToolButton|CheckBox|RadioButton|GroupBox|Action|ToolBar)\((QStringLiteral\()?\"" \
    -e "(Error|usageError|grabError)\(([A-Za-z:]+, *)?(QStringLiteral\()?\"[^\"]*[A-Za-z]" \
    "$sources" | grep -vE "\((QStringLiteral\()?\"Trovix\"\)?[,)]")
if [ -n "$bare" ]; then
    echo "texts shown to the user without tr() (or QCoreApplication::translate()):" >&2
    echo "$bare" >&2
    status=1
fi
exit $status
