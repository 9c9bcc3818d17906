// The binary messages between a session and its page. Numbers are little endian.
//
// To the page, by the first byte:
//   1 frame        u32 number, u16 width and height of the display, then tiles to the end, each
//                  u16 x y w h, u8 codec (1 JPEG, 2 PNG), u32 length, bytes. The page answers with 8 when
//                  they are drawn.
//   2 cursor       u8 form (0 a name of CSS, 1 a PNG), form 1: i16 hot spot x y; then the name or the PNG
//   3 sound        u32 samples a second, u8 channels, u8 bits, samples
//   4 record       u8 whether the page's microphone is wanted
//   5 display      u16 width, height, u16 hundredths of a pixel to one of the page's; of the frames behind it
//   6 clipboard    text that the console has put there
//   7 text wanted  u8 whether a text field has the focus
//   8 full screen  u8
//   9 words        u8 which (PageWords), then the text
//   10 keys        the names of the keys that the console wants for itself, a line each; "Control+" in front
//   11 edges       u8 bits: 1 the first control has the keyboard, 2 the last one. A further Tab leaves there.
//   12 picture     u8 what the user wants of it (0 to save it, 1 to copy it), u16 length of the name, the
//   name of
//                  its file, its file
// From the page:
//   1 size u16 w h in pixels, u16 hundredths of them to one of the page's (not there: 100)
//   2 move i16 x y, u8 modifiers  3 button i16 x y, u8 button, u8 down, u8 modifiers,
//   u8 whether a finger is it (not there: 0)
//   4 wheel i16 x y dx dy, u8 modifiers  5 key u8 down, u8 repeat, u8 modifiers, then the key's name
//   6 the mouse has left  7 focus u8 has, u8 0 as it was 1 to the first control 2 to the last (not there: 0)
//   8 drawn u32 number  9 recorded: mono samples of 16 bits, 8000 a second
//   10 visible u8  11 text that was composed  12 text to paste  13 there is no microphone to record
//   14 look u8: 0 the page has no wish, 1 dark 2 light 3 high contrast
//   15 two fingers that spread or close: u8 phase (0 come 1 move 2 go 3 taken away), i16 x y of each
// Modifiers: 1 shift, 2 control, 4 alt, 8 meta, 16 a key of the number pad. Buttons as the DOM numbers them.
#pragma once

#include <QtCore/QRect>
#include <QtGui/QCursor>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "audio/sound_card.h"
#include "console/ports/client_site.h"
#include "skin/skin_colours.h"
#include "web/session/tile_encoder.h"

namespace kvmon {

class RemoteDisplay;

std::vector<std::uint8_t> BeginFrame(std::uint32_t number, const QSize& display);
// Gives the place of the tile's head in the message, for EndTile.
std::size_t BeginTile(std::vector<std::uint8_t>& message, const QRect& rect, TileCodec codec);
void EndTile(std::vector<std::uint8_t>& message, std::size_t head);

std::vector<std::uint8_t> CursorMessage(const QCursor& cursor);
std::vector<std::uint8_t> SoundMessage(const PcmFormat& format, std::span<const std::uint8_t> block);
std::vector<std::uint8_t> RecordMessage(bool bOn);
std::vector<std::uint8_t> DisplayMessage(const QSize& display, double ratio);
std::vector<std::uint8_t> ClipboardMessage(std::string_view text);
std::vector<std::uint8_t> TextWantedMessage(bool bWanted);
std::vector<std::uint8_t> FullScreenMessage(bool bOn);
// What the element says, and to whom it cannot be seen.
enum class PageWords : std::uint8_t {
    Broken = 0,      // the connection is
    NotReached = 1,  // the host is
    Label = 2,       // what the element is
    Status = 3,      // the console's status line
    Focus = 4,       // the control that has the keyboard
};
std::vector<std::uint8_t> WordsMessage(PageWords which, std::string_view text);
std::vector<std::uint8_t> KeysMessage(std::string_view names);
std::vector<std::uint8_t> EdgesMessage(std::uint8_t edges);
std::vector<std::uint8_t> PictureMessage(const GivenPicture& picture);

// What a page sent beyond its mouse and keys.
struct PageMessage {
    enum class Kind {
        None,
        Wrong,
        Size,
        Drawn,
        Recorded,
        NoMicrophone,
        Visible,
        Text,
        Paste,
        Entered,
        Look
    } kind = Kind::None;
    QSize size;
    double ratio = 1;
    bool bVisible = true;
    bool bFromBehind = false;  // Entered: by the Tab key's way back
    std::string text;
    std::optional<SkinLook> look;
    std::uint32_t frame = 0;
    std::vector<std::int16_t> samples;
};

// Hands mouse and keys to the display, and gives the rest back. Wrong for what is no message.
PageMessage ReadPageMessage(RemoteDisplay& display, std::span<const std::uint8_t> bytes);

}  // namespace kvmon
