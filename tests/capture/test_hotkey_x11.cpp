// Global hot keys against a real X server: presses from xdotool, a rival client holding a
// combination, lock keys and a keyboard mapping change.
#include "app/HotKey.h"
#include "platform/Platform.h"
#include "support/Xdotool.h"

#include <QApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

using namespace trovix;
using namespace trovix::testing;

namespace {

// A second X client, as another program would be.
struct Rival {
    xcb_connection_t* conn = xcb_connect(nullptr, nullptr);
    xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(conn)).data->root;
    ~Rival() { xcb_disconnect(conn); }

    QList<xcb_keycode_t> keycodes(xcb_keysym_t keysym) const {
        const xcb_setup_t* setup = xcb_get_setup(conn);
        const int count = setup->max_keycode - setup->min_keycode + 1;
        std::unique_ptr<xcb_get_keyboard_mapping_reply_t, decltype(&std::free)> map(
            xcb_get_keyboard_mapping_reply(conn, xcb_get_keyboard_mapping(conn, setup->min_keycode, count),
                                           nullptr),
            &std::free);
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(map.get());
        QList<xcb_keycode_t> found;
        for (int k = 0; k < count; ++k)
            for (int c = 0; c < map->keysyms_per_keycode; ++c)
                if (syms[k * map->keysyms_per_keycode + c] == keysym &&
                    !found.contains(setup->min_keycode + k))
                    found.append(xcb_keycode_t(setup->min_keycode + k));
        return found;
    }

    // Gives `keycode` the symbols of a letter key (lower and upper case), or none.
    void map(xcb_keycode_t keycode, xcb_keysym_t lower, xcb_keysym_t upper) {
        const xcb_keysym_t syms[2] = {lower, upper};
        xcb_change_keyboard_mapping(conn, 1, keycode, 2, syms);
        xcb_flush(conn);
    }
};

} // namespace

class TestHotKeyX11 : public QObject {
    Q_OBJECT
private:
    int m_s = 0;
    int m_r = 0;

private Q_SLOTS:
    void initTestCase() {
        QCOMPARE(Platform::current().name(), QStringLiteral("x11"));
        QVERIFY(!HotKey::isInstalled());
        HotKey::registerHotKey(1, HotKey::keyS, HotKey::controlOption, [this] { ++m_s; });
        HotKey::registerHotKey(2, HotKey::keyR, HotKey::controlOption, [this] { ++m_r; });
        QVERIFY(HotKey::isInstalled());
    }

    void press_callsItsHandler_laterOnTheMainLoop() {
        xdotool({"key", "ctrl+alt+r"});
        QTRY_COMPARE(m_r, 1);
        QCOMPARE(m_s, 0);
        xdotool({"key", "ctrl+alt+s"});
        QTRY_COMPARE(m_s, 1);

        // Other combinations of the same key are not ours.
        xdotool({"key", "ctrl+r", "alt+r", "r", "ctrl+alt+shift+r"});
        QTest::qWait(200);
        QCOMPARE(m_r, 1);
    }

    void lockKeys_doNotMatter() {
        const int before = m_r;
        xdotool({"key", "Caps_Lock"});
        xdotool({"key", "ctrl+alt+r"});
        QTRY_COMPARE(m_r, before + 1);
        xdotool({"key", "Num_Lock"});
        xdotool({"key", "ctrl+alt+r"}); // both locks on
        QTRY_COMPARE(m_r, before + 2);
        xdotool({"key", "Caps_Lock", "Num_Lock"});
    }

    void combinationHeldByAnotherProgram_failsSilently() {
        Rival rival;
        const xcb_keycode_t t = rival.keycodes(0x74).value(0);
        QVERIFY(t);
        QVERIFY(!xcb_request_check(
            rival.conn, xcb_grab_key_checked(rival.conn, 1, rival.root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1,
                                             t, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        int held = 0;
        HotKey::registerHotKey(3, 0x74, HotKey::controlOption, [&] { ++held; });
        QVERIFY(!Platform::current().globalKeys().bind({HotKey::signature, 4}, 0x74, HotKey::controlOption));
        xdotool({"key", "ctrl+alt+t"});
        QTest::qWait(200);
        QCOMPARE(held, 0);
        // Our other keys are unaffected.
        const int before = m_s;
        xdotool({"key", "ctrl+alt+s"});
        QTRY_COMPARE(m_s, before + 1);
    }

    void keyboardMappingChange_movesTheGrabWithTheKey() {
        Rival rival;
        const QList<xcb_keycode_t> old = rival.keycodes(HotKey::keyR);
        QVERIFY(!old.isEmpty());
        const xcb_keycode_t spare = 250;
        QVERIFY(rival.keycodes(0x52).size() == old.size()); // "R" lives on the same keys
        for (xcb_keycode_t code : old)
            rival.map(code, XCB_NO_SYMBOL, XCB_NO_SYMBOL);
        rival.map(spare, HotKey::keyR, 0x52);
        QTRY_COMPARE(rival.keycodes(HotKey::keyR), QList<xcb_keycode_t>{spare});
        QTest::qWait(300); // Qt reads the mapping notification

        const int before = m_r;
        xdotool({"key", "ctrl+alt+r"}); // xdotool now sends the spare keycode
        QTRY_COMPARE(m_r, before + 1);

        rival.map(spare, XCB_NO_SYMBOL, XCB_NO_SYMBOL);
        for (xcb_keycode_t code : old)
            rival.map(code, HotKey::keyR, 0x52);
        QTRY_COMPARE(rival.keycodes(HotKey::keyR), old);
        QTest::qWait(300);
        xdotool({"key", "ctrl+alt+r"});
        QTRY_COMPARE(m_r, before + 2);
    }
};

QTEST_MAIN(TestHotKeyX11)
#include "test_hotkey_x11.moc"
