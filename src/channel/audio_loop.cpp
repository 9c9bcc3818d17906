#include "channel/audio_loop.h"

#include <array>
#include <new>

#include "channel/byte_source.h"
#include "channel/video_loop.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kAudioTimeout = 3000;
constexpr std::size_t kStatusLineSize = 2048;
constexpr int kStatusOk = 200;

bool OpenAudio(ChannelCore& core, CHttpTran& tran) {
    TargetSettings settings;
    std::uint32_t dwTimeout = kAudioTimeout;
    if (!core.GetTargetSettings(settings) || !tran.Create() ||
        !tran.Connect(settings.szAddress.c_str(), settings.nPort, &dwTimeout)) {
        return false;
    }
    std::array<char, kRequestSize> request;
    const int length = core.kind.GetAudioCmd(settings, request);
    if (length < 1 || static_cast<std::size_t>(length) >= request.size()) {
        return false;
    }
    dwTimeout = kAudioTimeout;
    if (!tran.Send(request.data(), static_cast<std::size_t>(length), &dwTimeout)) {
        return false;
    }
    std::array<char, kStatusLineSize> line;
    std::size_t lineLength = line.size();
    dwTimeout = kAudioTimeout;
    if (!tran.ReadLine(line.data(), &lineLength, &dwTimeout)) {
        return false;
    }
    HTTP_RESULT result;
    CHttpTran::ParseHttpHeader({line.data(), lineLength}, &result);
    return result.nStatus == kStatusOk;
}

bool HasSoundOfItsOwn(const ChannelCore& core) {
    return core.m_sound.m_bSupportAudio && core.kind.CanGetAudio();
}

}  // namespace

std::uint32_t GetAudio(ChannelCore& core, ThreadControl& control) {
    CHttpTran tran(&control.abort, core.clock);
    const ThreadControl::Connection connection(control, tran);
    if (!OpenAudio(core, tran)) {
        return 0;
    }
    HttpByteSource source(tran);
    return core.kind.ParseAudio(core, control, source);
}

void DoAudioLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control) {
    std::uint32_t nFailures = 0;
    while (WaitForRun("DoAudioLoop", *core, control)) {
        if (!core->IsStreamFromCamera()) {
            // The recorder's stream brings its sound along.
            control.run.Reset();
            continue;
        }
        std::uint32_t nResult = 0;
        try {
            nResult = HasSoundOfItsOwn(*core) ? core->kind.GetAudio(*core, control) : 0;
        } catch (const std::bad_alloc&) {
            Trace("CBaseCamera::DoAudioLoop: m_uCHInMainDlg=%u, out of memory....\n",
                  core->m_uCHInMainDlg.load());
        }
        nFailures = nResult == 0 ? nFailures + 1 : 0;
        WaitForVideoRetry(core->clock, control, nFailures);
    }
}

}  // namespace kvmon
