#include "skin/button_state.h"

#include <gtest/gtest.h>

namespace kvmon {
namespace {

bool Click(ButtonState& button) {
    return button.Press() && button.Release();
}

TEST(ButtonState, ModesTurnTheCheckAtTheClickAndNotAtThePress) {
    ButtonState plain(ButtonMode::kPlain);
    EXPECT_TRUE(Click(plain));
    EXPECT_FALSE(plain.checked());

    ButtonState toggle(ButtonMode::kToggle);
    EXPECT_TRUE(toggle.Press());
    EXPECT_FALSE(toggle.checked());
    EXPECT_TRUE(toggle.Release());
    EXPECT_TRUE(toggle.checked());
    EXPECT_TRUE(Click(toggle));
    EXPECT_FALSE(toggle.checked());

    ButtonState radio(ButtonMode::kRadio);
    Click(radio);
    EXPECT_TRUE(Click(radio)) << "a click on the chosen one is a click";
    EXPECT_TRUE(radio.checked());
}

TEST(ButtonState, ThePressedFlagStaysWhileThePointerIsElsewhere) {
    ButtonState button(ButtonMode::kToggle);
    button.Press();
    EXPECT_EQ(button.Look(), ButtonLook::kPressed);
    button.Move(false);
    EXPECT_TRUE(button.pressed());
    EXPECT_EQ(button.Look(), ButtonLook::kHover);
    button.Move(true);
    EXPECT_EQ(button.Look(), ButtonLook::kPressed);
    button.Move(false);
    EXPECT_FALSE(button.Release()) << "no click outside";
    EXPECT_FALSE(button.pressed());
    EXPECT_FALSE(button.checked());
    EXPECT_TRUE(Click(button)) << "the next press starts over the button again";
}

TEST(ButtonState, EveryInterruptionEndsThePressWithoutAClick) {
    using Interruption = void (*)(ButtonState&);
    constexpr Interruption kAll[] = {
        [](ButtonState& button) { button.Cancel(); },
        [](ButtonState& button) { button.SetEnabled(false); },
        [](ButtonState& button) { button.SetBusy(true); },
    };
    for (const Interruption interrupt : kAll) {
        ButtonState button(ButtonMode::kToggle);
        button.Press();
        interrupt(button);
        EXPECT_FALSE(button.pressed());
        EXPECT_FALSE(button.Release());
        EXPECT_FALSE(button.checked());
    }
}

TEST(ButtonState, DisabledAndBusyTakeNoPressAndKeepTheCheck) {
    ButtonState button(ButtonMode::kToggle);
    button.SetChecked(true);
    button.SetHover(true);
    button.SetBusy(true);
    EXPECT_FALSE(button.Press());
    EXPECT_EQ(button.Look(), ButtonLook::kBusy);
    button.SetEnabled(false);
    EXPECT_FALSE(button.Press());
    EXPECT_EQ(button.Look(), ButtonLook::kDisabled);
    button.SetEnabled(true);
    button.SetBusy(false);
    EXPECT_EQ(button.Look(), ButtonLook::kHover);
    EXPECT_TRUE(button.checked());
    EXPECT_TRUE(button.Press());
    EXPECT_FALSE(button.Press()) << "a second press within the first is none";
}

}  // namespace
}  // namespace kvmon
