// The reads of a transaction in any order, off a peer that gives its bytes in pieces, stalls and ends as it
// likes: no byte is lost, none comes twice. The first byte says which reads, the second how the peer is, the
// third how many reads there are; each has a byte for its kind and one for its room.
#include <vector>

#include "fuzz_input.h"
#include "script_socket.h"
#include "server/http/http_chunk_tran.h"

using namespace kvmon;
using kvfuzz::Check;

namespace {

enum class Reads { Plain, Notify, Chunked };

// What was read, and whether more can be said about the bytes that follow.
struct Progress {
    std::string_view stream;
    std::size_t at = 0;
    bool known = true;

    void Take(const std::vector<char>& room, std::size_t length, bool good) {
        Check(length <= room.size());
        if (!good) {
            known = false;  // a failure may have dropped what came before it
        }
        if (known) {
            Check(stream.substr(at, length) == std::string_view(room.data(), length));
            at += length;
        }
    }
};

// Memory of its own for each read, so that nothing behind it goes unseen.
void Read(CHttpTran& tran, std::uint8_t kind, std::size_t size, Progress& progress) {
    std::vector<char> room(size);
    std::size_t length = size;
    std::uint32_t budget = 3000;
    bool good = false;
    switch (kind % 6) {
        case 0:
            good = tran.ReadLine(room.data(), &length, &budget);
            break;
        case 1:
            good = tran.ReadToCRLF(room.data(), &length, &budget);
            break;
        case 2:
            good = tran.ReadToSOI(room.data(), &length, &budget);
            break;
        case 3:
            good = tran.ReadJpeg(room.data(), &length, &budget);
            break;
        case 4:
            length = tran.ReadBlock(room.data(), size, &budget);
            good = length > 0;
            break;
        default:
            length = tran.Receive(room.data(), size, &budget);
            good = length > 0;
    }
    progress.Take(room, length, good);
}

bool ReadNotification(CHttpTran& tran, std::size_t size, Progress& progress) {
    std::vector<char> room(size);
    std::size_t length = size;
    std::uint32_t budget = 500;
    const NotifyLine result = tran.ReadNotifyLine(room.data(), &length, &budget);
    const bool line = result == NotifyLine::Line;
    const bool ended = result == NotifyLine::Closed || result == NotifyLine::Failed ||
                       result == NotifyLine::WaitError || result == NotifyLine::WaitEnded;
    Check(result != NotifyLine::WouldBlock);
    Check(result != NotifyLine::Full || length == size);
    // The length does not count the LF, but it is there.
    Check(!line || (length < size && room[length] == '\n'));
    progress.Take(room, line ? length + 1 : length, !ended);
    return !ended;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvfuzz::Input input(data, size);
    const auto reads = static_cast<Reads>(input.Byte() % 3);
    kvfuzz::Script script;
    script.SetManner(input.Byte());
    const auto steps = input.Take(2 * std::size_t{input.Byte() % 32u});
    script.bytes = input.RestText();

    kvfuzz::StepClock clock;
    kvfuzz::ScriptPeer peer([&script](std::string_view) { return script; });
    CHttpChunkTran tran(clock, peer.Make());
    Check(tran.Create(reads == Reads::Notify ? SocketKind::Blocking : SocketKind::InRounds));
    std::uint32_t budget = 3000;
    Check(tran.Connect("127.0.0.1", 80, &budget));
    tran.SetChunked(reads == Reads::Chunked);
    Progress progress{script.bytes};
    progress.known = reads != Reads::Chunked;
    for (std::size_t i = 0; i + 1 < steps.size(); i += 2) {
        // Up to some kilobytes, and most often little.
        const std::size_t room = 1 + (steps[i + 1] < 128 ? steps[i + 1] : (steps[i + 1] - 128u) * 64u);
        if (reads != Reads::Notify) {
            Read(tran, steps[i], room, progress);
        } else if (!ReadNotification(tran, room, progress)) {
            break;
        }
    }
    return 0;
}
