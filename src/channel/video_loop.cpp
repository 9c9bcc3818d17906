#include "channel/video_loop.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string>

#include "channel/camera_text.h"
#include "channel/digest_login.h"
#include "channel/stream_reader.h"
#include "codec/jpeg_codec.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStreamTimeout = 30000;
constexpr std::uint32_t kHeaderTimeout = 3000;
constexpr std::size_t kStatusLineSize = 2048;
constexpr int kStatusOk = 200;
constexpr int kStatusUnauthorized = 401;
constexpr Milliseconds kRetryRound{500};
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
    for (int i = 0; i < StreamReader::kMaxHeaderLines; ++i) {
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
bool OpenStream(ChannelCore& core, CHttpTran& tran, const TargetSettings& settings, Failure& failure) {
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
    core.m_nStreamId = core.WantedStreamId();
    std::array<char, kCameraRequestSize> buffer;
    const std::span<char> request(buffer.data(), settings.bFromCamera ? kCameraRequestSize : kRequestSize);
    const int length = core.kind.GetVideoCmd(settings, core.m_nStreamId, request);
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

void ReportFailure(ChannelCore& core, const ThreadControl& control, const Failure& failure) {
    Trace("CBaseCamera::GetStream: m_uCHInMainDlg=%u, %s failed...\n", core.m_uCHInMainDlg.load(),
          failure.text);
    if (control.abort == 0) {
        core.ReportStreamError(failure.code, failure.argument);
    }
}

// The camera's pictures, by a second connection if it wants another login. Nothing if none opened.
std::optional<std::uint32_t> ReadCamera(ChannelCore& core, ThreadControl& control, ThreadControl& decode,
                                        TargetSettings& settings, const CHttpTran::GiveUpWait& giveUp,
                                        Failure& failure) {
    for (;;) {
        CHttpTran tran(&control.abort, core.clock);
        tran.SetGiveUp(giveUp);
        const ThreadControl::Connection connection(control, tran);
        if (OpenStream(core, tran, settings, failure)) {
            HttpByteSource source(tran);
            return core.kind.ParseImage(core, control, decode, source);
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
std::uint32_t GetCameraPictures(ChannelCore& core, ThreadControl& control, ThreadControl& decode,
                                TargetSettings& settings) {
    bool bOther = false;
    {
        const std::lock_guard lock(core.m_cs);
        bOther = core.m_settings.m_NetworkSetting[(core.m_nNetworkSettingIdx + 1) & 1].HasAddress();
    }
    // What still waits is of the stream before.
    core.m_frames.FlushDecodeFrames(false);
    CameraPatience patience(core, bOther && !core.m_trial.HasTriedAWay());
    CHttpTran::GiveUpWait giveUp;
    TargetSettings recorder;
    if (core.GetKelvaraSettings(recorder)) {
        giveUp = [&patience](std::uint64_t nIdleMs) { return patience.IsOver(nIdleMs); };
    }
    Failure failure{};
    const auto count = ReadCamera(core, control, decode, settings, giveUp, failure);
    if (!count) {
        ReportFailure(core, control, failure);
    }
    if (control.abort == 0) {
        core.EndCameraPass(patience);
    }
    return count.value_or(0);
}

}  // namespace

std::uint32_t GetStream(ChannelCore& core, ThreadControl& control, LiveAudio& audio) {
    const auto decode = core.m_decodeThread.Control();
    TargetSettings settings;
    if (!core.GetTargetSettings(settings)) {
        ReportFailure(core, control, {kStreamSettings, "GetTargetSettings"});
        return 0;
    }
    if (settings.bFromCamera) {
        return GetCameraPictures(core, control, *decode, settings);
    }
    CHttpTran tran(&control.abort, core.clock);
    const ThreadControl::Connection connection(control, tran);
    Failure failure{};
    if (!OpenStream(core, tran, settings, failure)) {
        ReportFailure(core, control, failure);
        return 0;
    }
    HttpByteSource source(tran);
    const std::uint32_t count = StreamReader(core, control, *decode, audio, source).ParseImageFromKelvara();
    Trace(
        "CBaseCamera::BaseParseImage: m_uCHInMainDlg=%u, Leave ParseImageFromKelvara, restart decode "
        "thread....\n",
        core.m_uCHInMainDlg.load());
    decode->reset = 1;
    return count;
}

bool GivesPictures(ChannelCore& core, ThreadControl& control) {
    TargetSettings settings;
    if (!core.GetTargetSettings(settings)) {
        return false;
    }
    CameraPatience patience(core, false);
    ThreadControl decode;
    Failure failure{};
    const auto giveUp = [&](std::uint64_t nIdleMs) {
        // Nothing is decoded here: what comes whole counts.
        core.m_nDecoded = core.m_nReceived.load();
        return core.m_nReceived >= kPicturesOfALook || patience.IsOver(nIdleMs);
    };
    ReadCamera(core, control, decode, settings, giveUp, failure);
    const auto frame = core.m_frames.TakeDecodeFrame();
    int width = 0;
    int height = 0;
    std::uint32_t size = 0;
    return core.m_nReceived >= kPicturesOfALook && frame &&
           GetJpegInfo(frame->Bytes(), &width, &height, &size);
}

void WaitForVideoRetry(Clock& clock, ThreadControl& control, std::uint32_t nFailures) {
    const int rounds = nFailures < 3 ? 2 : nFailures < 8 ? 10 : 30;
    for (int i = 0; i < rounds && control.abort == 0; ++i) {
        if (clock.Wait(control.exit, kRetryRound)) {
            return;
        }
    }
}

void DoVideoLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control) {
    std::shared_ptr<LiveAudio> audio;
    {
        const std::lock_guard lock(core->m_cs);
        audio = core->m_pAudio;
    }
    std::uint32_t nFailures = 0;
    while (WaitForRun("DoVideoLoop", *core, control)) {
        std::uint32_t nFrames = 0;
        try {
            nFrames = core->IsStreamFromCamera() ? core->kind.GetCameraStream(*core, control, *audio)
                                                 : GetStream(*core, control, *audio);
        } catch (const std::bad_alloc&) {
            Trace("CBaseCamera::DoVideoLoop: m_uCHInMainDlg=%u, out of memory....\n",
                  core->m_uCHInMainDlg.load());
        }
        nFailures = nFrames == 0 ? nFailures + 1 : 0;
        WaitForVideoRetry(core->clock, control, nFailures);
    }
}

}  // namespace kvmon
