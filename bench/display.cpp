#include "display.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "started_program.h"

namespace kvbench {

namespace {

struct Freed {
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

Display::Display(const std::string& folder, Monitors monitors) {
    std::string program = FindProgram("Xvfb");
    int number[2];
    if (program.empty() || ::pipe2(number, O_CLOEXEC) != 0) {
        throw std::runtime_error("Xvfb is not installed");
    }
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_adddup2(&files, number[1], STDOUT_FILENO);
    const std::string words = folder + "/xvfb.log";
    ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, words.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                       0600);
    const int width = monitors == Monitors::Two ? 2 * kWidth : kWidth;
    std::string screen = std::to_string(width) + "x" + std::to_string(kHeight) + "x24";
    std::string options[] = {"-displayfd", "1", "-screen", "0", "-nolisten", "tcp", "-noreset"};
    char* const command[] = {
        program.data(), options[0].data(), options[1].data(), options[2].data(), options[3].data(),
        screen.data(),  options[4].data(), options[5].data(), options[6].data(), nullptr};
    const int error = ::posix_spawn(&m_process, program.c_str(), &files, nullptr, command, environ);
    ::posix_spawn_file_actions_destroy(&files);
    ::close(number[1]);
    m_name = ":";
    for (char c = 0; error == 0 && ::read(number[0], &c, 1) == 1 && c != '\n';) {
        m_name += c;
    }
    ::close(number[0]);
    m_connection = m_name.size() > 1 ? xcb_connect(m_name.c_str(), nullptr) : nullptr;
    if (m_connection == nullptr || xcb_connection_has_error(m_connection) != 0) {
        throw std::runtime_error("Xvfb does not start");
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    if (monitors == Monitors::Two) {
        Split();
    }
}

void Display::Split() const {
    const std::string program = FindProgram("xrandr");
    const std::string size = std::to_string(kWidth) + "/400x" + std::to_string(kHeight) + "/300+";
    // The server's own monitor gives way to one that takes its output.
    const std::vector<std::vector<std::string>> commands = {
        {program, "--display", m_name, "--setmonitor", "left", size + "0+0", "screen"},
        {program, "--display", m_name, "--setmonitor", "right", size + std::to_string(kWidth) + "+0",
         "none"}};
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    bool bSplit = !program.empty();
    for (std::vector<std::string> words : commands) {
        std::vector<char*> command;
        for (std::string& word : words) {
            command.push_back(word.data());
        }
        command.push_back(nullptr);
        pid_t process = -1;
        int status = -1;
        bSplit = bSplit &&
                 ::posix_spawn(&process, program.c_str(), &files, nullptr, command.data(), environ) == 0 &&
                 ::waitpid(process, &status, 0) == process && status == 0;
    }
    ::posix_spawn_file_actions_destroy(&files);
    if (!bSplit) {
        throw std::runtime_error("the display cannot be split by xrandr");
    }
}

Display::~Display() {
    xcb_disconnect(m_connection);
    ::kill(m_process, SIGTERM);
    ::waitpid(m_process, nullptr, 0);
}

std::vector<std::uint32_t> Display::WindowsThatShow() const {
    std::vector<std::uint32_t> windows;
    const std::unique_ptr<xcb_query_tree_reply_t, Freed> tree(
        xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, m_root), nullptr));
    const int count = tree != nullptr ? xcb_query_tree_children_length(tree.get()) : 0;
    for (int i = 0; i < count; ++i) {
        const std::uint32_t window = xcb_query_tree_children(tree.get())[i];
        const std::unique_ptr<xcb_get_window_attributes_reply_t, Freed> state(xcb_get_window_attributes_reply(
            m_connection, xcb_get_window_attributes(m_connection, window), nullptr));
        if (state != nullptr && state->map_state == XCB_MAP_STATE_VIEWABLE) {
            windows.push_back(window);
        }
    }
    return windows;
}

void Display::SetHidden(bool bHidden) {
    if (bHidden) {
        m_hidden = WindowsThatShow();
    }
    for (const std::uint32_t window : m_hidden) {
        bHidden ? xcb_unmap_window(m_connection, window) : xcb_map_window(m_connection, window);
    }
    if (!bHidden) {
        m_hidden.clear();
    }
    xcb_flush(m_connection);
}

void Display::SetCovered(bool bCovered) {
    if (bCovered) {
        const std::uint32_t ordinary = 1;
        m_cover = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_cover, m_root, 0, 0, kWidth, kHeight, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
                          &ordinary);
        xcb_map_window(m_connection, m_cover);
    } else {
        xcb_destroy_window(m_connection, m_cover);
    }
    xcb_flush(m_connection);
}

void Display::PressKey(std::uint32_t keysym) {
    const xcb_setup_t& setup = *xcb_get_setup(m_connection);
    const int codes = setup.max_keycode - setup.min_keycode + 1;
    const std::unique_ptr<xcb_get_keyboard_mapping_reply_t, Freed> keys(xcb_get_keyboard_mapping_reply(
        m_connection,
        xcb_get_keyboard_mapping(m_connection, setup.min_keycode, static_cast<std::uint8_t>(codes)),
        nullptr));
    const xcb_keysym_t* const syms = keys != nullptr ? xcb_get_keyboard_mapping_keysyms(keys.get()) : nullptr;
    int code = 0;
    while (syms != nullptr && code < codes && syms[code * keys->keysyms_per_keycode] != keysym) {
        ++code;
    }
    const auto windows = WindowsThatShow();
    if (syms == nullptr || code == codes || windows.empty()) {
        throw std::runtime_error("a key cannot be pressed");
    }
    // There is no window manager that would do so.
    xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_PARENT, windows.back(), XCB_CURRENT_TIME);
    for (const int type : {XCB_KEY_PRESS, XCB_KEY_RELEASE}) {
        xcb_test_fake_input(m_connection, static_cast<std::uint8_t>(type),
                            static_cast<std::uint8_t>(setup.min_keycode + code), XCB_CURRENT_TIME, m_root, 0,
                            0, 0);
    }
    xcb_flush(m_connection);
}

std::vector<std::uint32_t> Display::See(const Box& box) const {
    return See(std::vector<Box>{box}).front();
}

std::vector<std::vector<std::uint32_t>> Display::See(const std::vector<Box>& boxes) const {
    std::vector<xcb_get_image_cookie_t> asked;
    asked.reserve(boxes.size());
    for (const Box& box : boxes) {
        asked.push_back(xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root,
                                      static_cast<std::int16_t>(box.left), static_cast<std::int16_t>(box.top),
                                      static_cast<std::uint16_t>(box.width),
                                      static_cast<std::uint16_t>(box.height), ~0u));
    }
    std::vector<std::vector<std::uint32_t>> seen(boxes.size());
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        const std::unique_ptr<xcb_get_image_reply_t, Freed> image(
            xcb_get_image_reply(m_connection, asked[i], nullptr));
        if (image != nullptr) {
            seen[i].resize(static_cast<std::size_t>(boxes[i].width) *
                           static_cast<std::size_t>(boxes[i].height));
            std::memcpy(seen[i].data(), xcb_get_image_data(image.get()),
                        seen[i].size() * sizeof(std::uint32_t));
        }
    }
    return seen;
}

}  // namespace kvbench
