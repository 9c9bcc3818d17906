// A display of the benchmark's own, and what it shows.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct xcb_connection_t;

namespace kvbench {

struct Box {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
};

// An X server without a screen, for this object's life.
class Display {
public:
    static constexpr int kWidth = 1600;
    static constexpr int kHeight = 1000;
    enum class Monitors { One, Two };  // each of that size, side by side

    // Throws std::runtime_error when Xvfb, or xrandr for two monitors, is missing or does not start.
    explicit Display(const std::string& folder, Monitors monitors = Monitors::One);
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    // "DISPLAY=:7"
    std::string Variable() const { return "DISPLAY=" + m_name; }
    // Takes every window away, or brings those back that were, as a window manager minimises and restores.
    void SetHidden(bool bHidden);
    // A black window over everything, for as long as it is wanted.
    void SetCovered(bool bCovered);
    // Whether any window is there.
    bool HasWindow() const { return !WindowsThatShow().empty(); }
    // A key of the keyboard, by its X11 keysym, to the window that is shown last. Throws std::runtime_error
    // if the keyboard has none.
    void PressKey(std::uint32_t keysym);
    // What is to be seen there, 32 bits a pixel, rows packed. Empty when the server is gone.
    std::vector<std::uint32_t> See(const Box& box) const;
    // Several at once, for one wait.
    std::vector<std::vector<std::uint32_t>> See(const std::vector<Box>& boxes) const;

private:
    void Split() const;
    std::vector<std::uint32_t> WindowsThatShow() const;

    pid_t m_process = -1;
    std::string m_name;
    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    std::vector<std::uint32_t> m_hidden;
    std::uint32_t m_cover = 0;
};

}  // namespace kvbench
