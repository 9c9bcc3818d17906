// What a button does with what happens to it; no window in it.
#pragma once

#include <cstdint>

namespace kvmon {

// The values are those of the control table.
enum class ButtonMode : std::uint8_t {
    kPlain = 0,
    kToggle = 3,  // each click turns the check
    kRadio = 9,   // a click checks; the others of the group lose their check
};

// What a button looks like, apart from its check. The order is that of the button's bitmaps.
enum class ButtonLook : std::uint8_t { kNormal, kHover, kPressed, kDisabled, kBusy };
inline constexpr int kButtonLooks = 5;

// The state machine of one button. A press begins with Press() and ends with exactly one of Release() and
// Cancel(); in between the pressed flag is set, wherever the pointer goes. A busy or disabled button takes
// no press.
class ButtonState {
public:
    explicit ButtonState(ButtonMode mode = ButtonMode::kPlain) : m_mode(mode) {}

    ButtonMode mode() const { return m_mode; }
    bool checked() const { return m_checked; }
    bool pressed() const { return m_pressed; }
    bool busy() const { return m_busy; }
    bool enabled() const { return m_enabled; }

    // True if the press was taken: the owner is then to be told of it.
    bool Press();
    // While pressed: whether the pointer is still over the button.
    void Move(bool inside) { m_inside = inside; }
    // True if this was a click: the pointer was over the button at the end. The check has then been turned.
    bool Release();
    // Ends a press without a click: the window was hidden, disabled, lost the pointer or the keyboard.
    void Cancel() { m_pressed = false; }

    void SetHover(bool hover) { m_hover = hover; }
    void SetChecked(bool checked) { m_checked = checked; }
    void SetEnabled(bool enabled);
    // A mark that work is under way. It does not change what the button remembers.
    void SetBusy(bool busy);

    ButtonLook Look() const;

private:
    ButtonMode m_mode;
    bool m_checked = false;
    bool m_pressed = false;
    bool m_inside = false;
    bool m_hover = false;
    bool m_busy = false;
    bool m_enabled = true;
};

}  // namespace kvmon
