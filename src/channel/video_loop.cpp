#include "channel/video_loop.h"

#include <array>
#include <new>

#include "channel/stream_reader.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStreamTimeout = 30000;
constexpr std::size_t kStatusLineSize = 2048;
constexpr int kStatusOk = 200;
constexpr Milliseconds kRetryRound{500};

// A step of GetStream that failed.
struct Failure {
    int code;
    const char* text;
    int argument = 0;
};

// Everything up to and including the status line.
bool OpenStream(ChannelCore& core, CHttpTran& tran, TargetSettings& settings, Failure& failure) {
    const auto fail = [&](int code, const char* text, int argument = 0) {
        failure = {code, text, argument};
        return false;
    };
    if (!core.GetTargetSettings(settings)) {
        return fail(kStreamSettings, "GetTargetSettings");
    }
    if (!tran.Create()) {
        return fail(kStreamCreate, "HttpTran.Create");
    }
    std::uint32_t dwTimeout = kStreamTimeout;
    if (!tran.Connect(settings.szAddress.c_str(), settings.nPort, &dwTimeout)) {
        return fail(kStreamConnect, "HttpTran.Connect");
    }
    core.m_nStreamId = core.WantedStreamId();
    std::array<char, kRequestSize> request;
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

}  // namespace

std::uint32_t GetStream(ChannelCore& core, ThreadControl& control, LiveAudio& audio) {
    const auto decode = core.m_decodeThread.Control();
    CHttpTran tran(&control.abort, core.clock);
    const ThreadControl::Connection connection(control, tran);
    TargetSettings settings;
    Failure failure{};
    if (!OpenStream(core, tran, settings, failure)) {
        Trace("CBaseCamera::GetStream: m_uCHInMainDlg=%u, %s failed...\n", core.m_uCHInMainDlg.load(),
              failure.text);
        if (control.abort == 0) {
            core.ReportStreamError(failure.code, failure.argument);
        }
        return 0;
    }
    HttpByteSource source(tran);
    if (settings.bFromCamera) {
        return core.kind.ParseImage(core, control, *decode, source);
    }
    const std::uint32_t count = StreamReader(core, control, *decode, audio, source).ParseImageFromKelvara();
    Trace(
        "CBaseCamera::BaseParseImage: m_uCHInMainDlg=%u, Leave ParseImageFromKelvara, restart decode "
        "thread....\n",
        core.m_uCHInMainDlg.load());
    decode->reset = 1;
    return count;
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
