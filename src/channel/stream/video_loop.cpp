#include "channel/stream/video_loop.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "channel/source/camera_kind.h"
#include "channel/source/stream_source.h"
#include "channel/stream/camera_text.h"
#include "channel/stream/digest_login.h"
#include "channel/stream/stream_reader.h"
#include "channel/stream/stream_retry.h"
#include "codec/jpeg_codec.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStreamTimeout = 30000;
constexpr std::uint32_t kHeaderTimeout = 3000;
constexpr std::size_t kStatusLineSize = 2048;
constexpr int kStatusOk = 200;
constexpr int kStatusUnauthorized = 401;
// A camera's path may be long, and so may be the answer to its challenge.
constexpr std::size_t kCameraRequestSize = 4096;
// A camera that falls silent behind its first picture is none to go back to.
constexpr std::uint64_t kPicturesOfALook = 3;

// A step of GetStream that failed.
struct Failure {
    int code;
    const char* text;
    int argument = 0;
};

// The first challenge of a refusal's head that can be answered.
std::string ReadChallenge(CHttpTran& tran) {
    constexpr std::string_view kName = "www-authenticate:";
    std::array<char, kStatusLineSize> line;
    for (int i = 0; i < kMaxHeaderLines; ++i) {
        std::size_t length = line.size();
        std::uint32_t dwTimeout = kHeaderTimeout;
        if (!tran.ReadLine(line.data(), &length, &dwTimeout) || length < 3) {
            break;
        }
        std::string_view text(line.data(), length);
        if (!HasPrefixNoCase(text, kName)) {
            continue;
        }
        text = text.substr(std::min(text.find_first_not_of(" \t", kName.size()), text.size()));
        if (AnswerDigestChallenge(text, {})) {
            return std::string(text.substr(0, text.find_last_not_of("\r\n") + 1));
        }
    }
    return {};
}

// Everything up to and including the status line.
bool OpenStream(StreamSource& source, CHttpTran& tran, const TargetSettings& settings, Failure& failure) {
    const auto fail = [&](int code, const char* text, int argument = 0) {
        failure = {code, text, argument};
        return false;
    };
    if (!tran.Create()) {
        return fail(kStreamCreate, "HttpTran.Create");
    }
    std::uint32_t dwTimeout = kStreamTimeout;
    if (!tran.Connect(settings.szAddress.c_str(), settings.nPort, &dwTimeout)) {
        return fail(kStreamConnect, "HttpTran.Connect");
    }
    source.m_nStreamId = source.WantedStreamId();
    std::array<char, kCameraRequestSize> buffer;
    const std::span<char> request(buffer.data(), settings.bFromCamera ? kCameraRequestSize : kRequestSize);
    const int length = source.kind.GetVideoCmd(settings, source.m_nStreamId, request);
    if (length < 1 || static_cast<std::size_t>(length) >= request.size()) {
        return fail(kStreamRequest, "BaseGetVideoCmd");
    }
    if (!tran.Send(request.data(), static_cast<std::size_t>(length), &dwTimeout)) {
        return fail(kStreamSend, "HttpTran.Send");
    }
    std::array<char, kStatusLineSize> line;
    std::size_t lineLength = line.size();
    dwTimeout = kStreamTimeout;
    if (!tran.ReadLine(line.data(), &lineLength, &dwTimeout)) {
        return fail(kStreamLine, "HttpTran.ReadLine");
    }
    HTTP_RESULT result;
    CHttpTran::ParseHttpHeader({line.data(), lineLength}, &result);
    if (result.nStatus != kStatusOk) {
        return fail(kStreamStatus, "CHttpTran::ParseHttpHeader", result.nStatus);
    }
    return true;
}

void ReportFailure(const StreamPass& pass, const Failure& failure) {
    Trace("CBaseCamera::GetStream: m_uCHInMainDlg=%u, %s failed...\n", pass.source.m_uCHInMainDlg.load(),
          failure.text);
    if (pass.control.abort == 0) {
        pass.sinks.reports.ReportStreamError(failure.code, failure.argument);
    }
}

// The camera's pictures, by a second connection if it wants another login. Nothing if none opened.
std::optional<std::uint32_t> ReadCamera(const StreamPass& pass, TargetSettings& settings,
                                        const CHttpTran::GiveUpWait& giveUp, Failure& failure) {
    StreamSource& source = pass.source;
    for (;;) {
        CHttpTran tran(&pass.control.abort, source.clock);
        tran.SetGiveUp(giveUp);
        const ThreadControl::Connection connection(pass.control, tran);
        if (OpenStream(source, tran, settings, failure)) {
            HttpByteSource bytes(tran);
            return source.kind.ParseImage(pass.sinks, pass.control, bytes);
        }
        if (failure.argument != kStatusUnauthorized || !settings.strChallenge.empty()) {
            return std::nullopt;
        }
        settings.strChallenge = ReadChallenge(tran);
        if (settings.strChallenge.empty()) {
            return std::nullopt;
        }
    }
}

// A camera's own stream, as long as it keeps nobody waiting.
std::uint32_t GetCameraPictures(const StreamPass& pass, TargetSettings& settings) {
    StreamSource& source = pass.source;
    const auto ways = source.HasOtherWay() && !source.m_trial.HasTriedAWay() ? CameraPatience::Ways::Two
                                                                             : CameraPatience::Ways::One;
    // What still waits is of the stream before.
    pass.sinks.frames.FlushDecodeFrames(FrameQueue::Next::Any);
    CameraPatience patience(pass.sinks.counters, source.m_trial, source.clock, ways);
    CHttpTran::GiveUpWait giveUp;
    TargetSettings recorder;
    if (source.GetKelvaraSettings(recorder)) {
        giveUp = [&patience](std::uint64_t nIdleMs) { return patience.IsOver(nIdleMs); };
    }
    Failure failure{};
    const auto count = ReadCamera(pass, settings, giveUp, failure);
    if (!count) {
        ReportFailure(pass, failure);
    }
    if (pass.control.abort == 0) {
        pass.sinks.reports.EndCameraPass(patience);
    }
    return count.value_or(0);
}

// Tells nobody of a look at a camera.
class NoReports final : public StreamReports {
public:
    void NoteReceived() override {}
    void ReportStreamError(int, int) override {}
    void EndCameraPass(CameraPatience&) override {}
    void RestartPlaying() override {}
    void ShowText(std::uint32_t) override {}
};

}  // namespace

std::uint32_t GetStream(const StreamPass& pass) {
    TargetSettings settings;
    if (!pass.source.GetTargetSettings(settings)) {
        ReportFailure(pass, {kStreamSettings, "GetTargetSettings"});
        return 0;
    }
    if (settings.bFromCamera) {
        return GetCameraPictures(pass, settings);
    }
    CHttpTran tran(&pass.control.abort, pass.source.clock);
    const ThreadControl::Connection connection(pass.control, tran);
    Failure failure{};
    if (!OpenStream(pass.source, tran, settings, failure)) {
        ReportFailure(pass, failure);
        return 0;
    }
    ReadAheadSource bytes(tran);
    const std::uint32_t count = StreamReader(pass.sinks, pass.control, bytes).ParseImageFromKelvara();
    Trace(
        "CBaseCamera::BaseParseImage: m_uCHInMainDlg=%u, Leave ParseImageFromKelvara, restart decode "
        "thread....\n",
        pass.source.m_uCHInMainDlg.load());
    pass.sinks.decode.reset = 1;
    return count;
}

bool GivesPictures(StreamSource& look, const std::shared_ptr<FrameBudget>& budget, ThreadControl& control) {
    TargetSettings settings;
    if (!look.GetTargetSettings(settings)) {
        return false;
    }
    FrameQueue frames(look.m_uCHInMainDlg, budget);
    ChannelCounters counters;
    const SoundSwitches silent;
    NoReports reports;
    ThreadControl decode;
    const StreamSinks sinks{frames, counters, silent, nullptr, reports, decode};
    CameraPatience patience(counters, look.m_trial, look.clock, CameraPatience::Ways::One);
    Failure failure{};
    const auto giveUp = [&](std::uint64_t nIdleMs) {
        // Nothing is decoded here: what comes whole counts.
        counters.m_nDecoded = counters.m_nReceived.load();
        return counters.m_nReceived >= kPicturesOfALook || patience.IsOver(nIdleMs);
    };
    ReadCamera({look, sinks, control}, settings, giveUp, failure);
    const auto frame = frames.TakeDecodeFrame();
    int width = 0;
    int height = 0;
    std::uint32_t size = 0;
    return counters.m_nReceived >= kPicturesOfALook && frame &&
           GetJpegInfo(frame->Bytes(), &width, &height, &size);
}

void DoVideoLoop(const VideoParts& parts, ThreadControl& control) {
    StreamSource& source = parts.source;
    std::uint32_t nFailures = 0;
    while (WaitForRun("DoVideoLoop", source.clock, source.m_uCHInMainDlg, control)) {
        std::uint32_t nFrames = 0;
        try {
            const auto decode = parts.decodeThread.Control();
            const StreamSinks sinks{parts.frames, parts.counters, parts.sound,
                                    &parts.audio, parts.reports,  *decode};
            const StreamPass pass{source, sinks, control};
            nFrames = source.IsStreamFromCamera() ? source.kind.GetCameraStream(pass) : GetStream(pass);
        } catch (...) {
            const Caught caught = TakeCaught();
            Trace("CBaseCamera::DoVideoLoop: m_uCHInMainDlg=%u, an exception: %s....\n",
                  source.m_uCHInMainDlg.load(), caught.what.data());
            parts.reports.TellFault(caught.fault);
        }
        nFailures = nFrames == 0 ? nFailures + 1 : 0;
        WaitForVideoRetry(source.clock, control, nFailures);
    }
}

}  // namespace kvmon
