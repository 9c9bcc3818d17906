#include "cameras/camera_session.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>

#include "cameras/camera_sound.h"
#include "cameras/open_camera.h"
#include "cameras/picture_headers.h"
#include "cameras/picture_joiner.h"
#include "cameras/picture_times.h"
#include "media/packet_group.h"
#include "media/picture_encoder.h"

namespace kvrecorder {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// Of what nobody takes.
constexpr std::size_t kMostPictures = 600;
constexpr std::size_t kMostBytes = 16 << 20;
constexpr std::size_t kMostSounds = 100;

// Between two pictures, where it is guessed when the next one comes.
constexpr microseconds kLongestStep{250'000};

// Since the program's begin, so that times stay small.
microseconds Now() {
    static const Clock::time_point begin = Clock::now();
    return std::chrono::duration_cast<microseconds>(Clock::now() - begin);
}

// What is put together of a session's pieces.
struct Assembly {
    Assembly(AVCodecID id, kvrecorder::Codec passed, std::span<const std::uint8_t> told)
        : codec(passed), headers(id, told) {}

    kvrecorder::Codec codec;
    PictureJoiner joiner;
    PictureHeaders headers;
    bool begun = false;  // with a key picture
};

}  // namespace

// Shared by the session and its thread, which may outlive it.
class CameraSession::State {
public:
    explicit State(Setup setup) : m_setup(std::move(setup)), m_pauses(m_setup.timing) {}

    // True if a thread is to be started.
    bool Want(bool sound);
    void Rest();
    void End();
    void NoThread();
    Taken Take(bool withGroup);
    void Work();

private:
    bool IsOver() const;  // under the lock
    void Watch();
    void AddPiece(const CameraInput& input, const CameraInput::Piece& piece, microseconds now);
    std::string Find();
    void Pass(std::vector<PictureJoiner::Picture>& whole, microseconds now);
    void Push(PacketPtr packet);
    std::optional<microseconds> LookAgain(bool any, microseconds now);
    void Fail(const Fault& trouble);
    void Pause();
    void Wake();

    const Setup m_setup;
    ReaderChoice m_reader;  // of the thread

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_running = false;  // a thread is at work
    bool m_ended = false;
    bool m_sound = false;
    bool m_hurry = false;  // somebody came while nobody was there: without a pause
    std::optional<Clock::time_point> m_restUntil;
    CameraPauses m_pauses;
    std::optional<Assembly> m_assembly;  // while a session is open
    PictureTimes m_times;
    std::optional<Clock::time_point> m_firstPicture;  // of this session
    Clock::time_point m_lastPicture;
    microseconds m_step{};   // from the picture before the last one to the last
    bool m_expects = false;  // who takes looks by itself at the time when the next one ought to be whole
    std::deque<PacketPtr> m_pictures;
    std::size_t m_bytes = 0;
    bool m_waitKey = false;
    std::deque<PacketPtr> m_sounds;
    PacketGroup m_group;
    std::vector<std::string> m_words;
    Fault m_trouble;
    bool m_missing = false;
    StreamDescription m_description;
    std::optional<StreamDescription> m_sub;
};

bool CameraSession::State::Want(bool sound) {
    const std::lock_guard lock(m_mutex);
    m_sound = sound;
    if (m_ended) {
        return false;
    }
    if (m_restUntil) {
        m_restUntil.reset();
        m_hurry = true;
        m_pauses.Restart();
        m_changed.notify_all();
    }
    return !std::exchange(m_running, true);
}

void CameraSession::State::Rest() {
    const std::lock_guard lock(m_mutex);
    if (!m_restUntil) {
        m_restUntil = Clock::now() + m_setup.camera.linger;
        m_changed.notify_all();
    }
    m_pictures.clear();
    m_bytes = 0;
    m_sounds.clear();
}

void CameraSession::State::End() {
    const std::lock_guard lock(m_mutex);
    m_ended = true;
    m_changed.notify_all();
}

void CameraSession::State::NoThread() {
    const std::lock_guard lock(m_mutex);
    m_running = false;
    m_trouble = FaultCode::NoThread;
}

// Not under the lock: whoever is woken takes what there is at once.
void CameraSession::State::Wake() {
    {
        const std::lock_guard lock(m_mutex);
        if (m_ended) {
            return;
        }
    }
    m_setup.wake();
}

bool CameraSession::State::IsOver() const {
    return m_ended || (m_restUntil && Clock::now() >= *m_restUntil);
}

CameraSession::Taken CameraSession::State::Take(bool withGroup) {
    Taken taken;
    const std::lock_guard lock(m_mutex);
    const microseconds now = Now();
    if (m_assembly) {
        std::vector<PictureJoiner::Picture> whole;
        m_assembly->joiner.Flush(now, whole);
        Pass(whole, now);
        taken.again = LookAgain(!m_pictures.empty(), now);
    }
    taken.pictures.assign(m_pictures.begin(), m_pictures.end());
    taken.sounds.assign(m_sounds.begin(), m_sounds.end());
    m_pictures.clear();
    m_bytes = 0;
    m_sounds.clear();
    if (withGroup) {
        taken.group = m_group.Packets();
    }
    taken.words = std::exchange(m_words, {});
    taken.trouble = m_trouble;
    taken.missing = m_missing;
    taken.description = m_description;
    taken.sub = m_sub;
    return taken;
}

// Under the lock. A picture whose end is not seen is due some time after its last piece. Where ends are
// mostly seen, a look after the next picture finds such a one, and nobody has to be told of each that begins.
std::optional<microseconds> CameraSession::State::LookAgain(bool any, microseconds now) {
    m_expects = false;
    if (const auto due = m_assembly->joiner.Due()) {
        return std::max(*due - now, microseconds(1'000));
    }
    if (!any || !m_assembly->joiner.KnowsEnds() || m_step > kLongestStep) {
        return std::nullopt;
    }
    m_expects = true;
    return m_step + m_assembly->joiner.Patience();
}

// The thread's work, until nobody wants the stream.
void CameraSession::State::Work() {
    while (true) {
        {
            const std::lock_guard lock(m_mutex);
            if (IsOver()) {
                m_running = false;
                m_group.Clear();
                return;
            }
            m_hurry = false;
        }
        try {
            Watch();
        } catch (const CameraError& failure) {
            Fail(failure.Told());
        } catch (const std::exception&) {
            Fail(FaultCode::OutOfMemory);
        }
        Pause();
    }
}

// The address, asked for with each session: a camera may tell another one after its start.
std::string CameraSession::State::Find() {
    if (!m_setup.find) {
        return m_setup.url;
    }
    FoundStream found = m_setup.find([this] {
        const std::lock_guard lock(m_mutex);
        return IsOver();
    });
    const std::lock_guard lock(m_mutex);
    m_sub = found.sub;
    if (found.url.empty()) {
        m_missing = true;
        throw CameraError(FaultCode::StreamMissing);
    }
    return std::move(found.url);
}

void CameraSession::State::Watch() {
    const std::string url = Find();
    InputLimit limit([this] {
        const std::lock_guard lock(m_mutex);
        return IsOver();
    });
    bool sound = false;
    {
        const std::lock_guard lock(m_mutex);
        sound = m_sound;
    }
    limit.AllowUntil(Clock::now() + m_setup.timing.connect);
    const auto input = OpenCameraInput(m_setup.camera, url, sound, limit, m_reader);
    const auto sounds = input->Sound() ? CameraSound::Make(*input->Sound()) : nullptr;
    {
        const std::lock_guard lock(m_mutex);
        m_assembly.emplace(input->Codec(), *PassedCodec(input->Codec()), input->Headers());
        m_times.Restart();
        m_lastPicture = Clock::now();
    }
    std::vector<PacketPtr> heard;
    while (true) {
        {
            const std::lock_guard lock(m_mutex);
            limit.AllowUntil(m_lastPicture + m_setup.timing.stall + input->Pause());
        }
        const auto piece = input->Read();
        const microseconds now = Now();
        if (!piece) {
            continue;
        }
        if (std::string words = input->Word(); !words.empty()) {
            const std::lock_guard lock(m_mutex);
            m_words.push_back(std::move(words));
        }
        if (!piece->isSound) {
            AddPiece(*input, *piece, now);
        } else if (sounds) {
            sounds->Decode(*piece->packet, now.count() / 1000, heard);
            {
                const std::lock_guard lock(m_mutex);
                m_sounds.insert(m_sounds.end(), heard.begin(), heard.end());
                while (m_sounds.size() > (m_restUntil ? 0 : kMostSounds)) {
                    m_sounds.pop_front();
                }
            }
            heard.clear();
            Wake();
        }
    }
}

void CameraSession::State::AddPiece(const CameraInput& input, const CameraInput::Piece& piece,
                                    microseconds now) {
    const int slices = input.IsWhole() ? 0 : CountSlices(input.Codec(), piece.bytes);
    bool wake = false;
    {
        const std::lock_guard lock(m_mutex);
        std::vector<PictureJoiner::Picture> whole;
        const bool waited = m_assembly->joiner.Due().has_value();
        if (input.IsWhole()) {
            whole.push_back({piece.stampUs, {piece.bytes.begin(), piece.bytes.end()}, false});
        } else {
            m_assembly->joiner.Add({piece.stampUs, piece.bytes, slices, piece.isLast}, now, whole);
        }
        Pass(whole, now);
        // Whoever takes has to know when the one that waits is due.
        wake = !m_restUntil && (!whole.empty() || (!waited && !m_expects));
    }
    if (wake) {
        Wake();
    }
}

// Under the lock.
void CameraSession::State::Pass(std::vector<PictureJoiner::Picture>& whole, microseconds now) {
    for (PictureJoiner::Picture& picture : whole) {
        // The rest of a picture that is on its way already comes too late.
        if (picture.rest) {
            continue;
        }
        const PictureHeaders::Seen seen = m_assembly->headers.Look(picture.bytes);
        const PictureTimes::Times times = m_times.Next(picture.stamp, now);
        const Clock::time_point came = Clock::now();
        m_step = std::chrono::duration_cast<microseconds>(came - std::exchange(m_lastPicture, came));
        m_assembly->begun = m_assembly->begun || (seen.key && seen.width > 0);
        if (!m_assembly->begun) {
            continue;
        }
        if (!m_firstPicture) {
            m_firstPicture = m_lastPicture;
        }
        m_trouble = {};
        auto packet = std::make_shared<Packet>();
        packet->fourcc = FourccOf(m_assembly->codec);
        packet->key = seen.key;
        packet->width = seen.width;
        packet->height = seen.height;
        packet->timeMs = times.decode.count() / 1000;
        packet->delayMs = (times.decode + times.delay).count() / 1000 - packet->timeMs;
        packet->data = std::move(picture.bytes);
        m_description = {m_assembly->codec, seen.width, seen.height, 0};
        Push(std::move(packet));
    }
}

void CameraSession::State::Push(PacketPtr packet) {
    m_group.Add(packet);
    m_group.DropIfTooLarge();
    if (m_restUntil || (m_waitKey && !packet->key)) {
        return;
    }
    m_waitKey = false;
    m_bytes += packet->data.size();
    m_pictures.push_back(std::move(packet));
    if (m_bytes > kMostBytes || m_pictures.size() > kMostPictures) {
        m_pictures.clear();
        m_bytes = 0;
        m_waitKey = true;
    }
}

void CameraSession::State::Fail(const Fault& trouble) {
    {
        const std::lock_guard lock(m_mutex);
        m_assembly.reset();
        m_group.Clear();
        if (!m_restUntil && !m_ended) {
            m_trouble = trouble;
        }
    }
    Wake();
}

// Before the next attempt.
void CameraSession::State::Pause() {
    std::unique_lock lock(m_mutex);
    const auto good = m_firstPicture ? m_lastPicture - *m_firstPicture : Clock::duration::zero();
    m_firstPicture.reset();
    const Clock::time_point until =
        Clock::now() + m_pauses.Next(std::chrono::duration_cast<milliseconds>(good));
    while (!IsOver() && !m_hurry && Clock::now() < until) {
        m_changed.wait_until(lock, m_restUntil ? std::min(until, *m_restUntil) : until);
    }
}

CameraSession::CameraSession(Setup setup, std::shared_ptr<CameraThreads> threads)
    : m_state(std::make_shared<State>(std::move(setup))), m_threads(std::move(threads)) {}

CameraSession::~CameraSession() {
    End();
}

void CameraSession::Want(bool sound) {
    if (!m_state->Want(sound)) {
        return;
    }
    try {
        m_threads->Start([state = m_state] { state->Work(); });
    } catch (const std::system_error&) {
        m_state->NoThread();
    }
}

void CameraSession::Rest() {
    m_state->Rest();
}

void CameraSession::End() {
    m_state->End();
}

CameraSession::Taken CameraSession::Take(bool withGroup) {
    return m_state->Take(withGroup);
}

}  // namespace kvrecorder
