// Cameras that send a film over RTSP, in a process of their own.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "content/coded_pictures.h"

namespace kvbench {

// All of one machine time: nanoseconds of the steady clock.
std::int64_t NowNs();

// Each sends the film's pictures 25 times a second for as long as somebody looks, by turns with the others,
// and goes on where it would be if it had always sent. Every picture has a number.
class FilmCameras {
public:
    // Throws std::runtime_error when there is no port.
    FilmCameras(const std::vector<kvtest::CodedUnit>& film, int count);
    ~FilmCameras();
    FilmCameras(const FilmCameras&) = delete;
    FilmCameras& operator=(const FilmCameras&) = delete;

    std::string Url(int camera) const;
    // When the last byte of the picture with this number had been handed to the system.
    std::int64_t SentNs(int camera, std::uint32_t number) const;
    // The number in a picture as it has come; 0: there is none.
    static std::uint32_t NumberIn(std::span<const std::uint8_t> picture);

private:
    std::atomic<std::int64_t>* m_sent;  // shared with the process
    std::size_t m_size;
    pid_t m_process = -1;
    int m_port = 0;
};

}  // namespace kvbench
