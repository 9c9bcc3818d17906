#include "channel/stream/audio_loop.h"

#include <array>

#include "channel/base/channel_thread.h"
#include "channel/base/own_fault_texts.h"
#include "channel/base/sound_switches.h"
#include "channel/frames/byte_source.h"
#include "channel/source/camera_kind.h"
#include "channel/source/stream_source.h"
#include "channel/stream/stream_reports.h"
#include "channel/stream/stream_retry.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kAudioTimeout = 3000;
constexpr std::size_t kSoundStatusLineSize = 2048;
constexpr int kSoundStatusOk = 200;

bool OpenAudio(const StreamSource& source, CHttpTran& tran) {
    TargetSettings settings;
    std::uint32_t dwTimeout = kAudioTimeout;
    if (!source.GetTargetSettings(settings) || !tran.Create() ||
        !tran.Connect(settings.szAddress.c_str(), settings.nPort, &dwTimeout)) {
        return false;
    }
    std::array<char, kRequestSize> request;
    const int length = source.kind.GetAudioCmd(settings, request);
    if (length < 1 || static_cast<std::size_t>(length) >= request.size()) {
        return false;
    }
    dwTimeout = kAudioTimeout;
    if (!tran.Send(request.data(), static_cast<std::size_t>(length), &dwTimeout)) {
        return false;
    }
    std::array<char, kSoundStatusLineSize> line;
    std::size_t lineLength = line.size();
    dwTimeout = kAudioTimeout;
    if (!tran.ReadLine(line.data(), &lineLength, &dwTimeout)) {
        return false;
    }
    HTTP_RESULT result;
    CHttpTran::ParseHttpHeader({line.data(), lineLength}, &result);
    return result.nStatus == kSoundStatusOk;
}

}  // namespace

std::uint32_t GetAudio(const StreamSource& source, ThreadControl& control) {
    CHttpTran tran(&control.abort, source.clock);
    const ThreadControl::Connection connection(control, tran);
    if (!OpenAudio(source, tran)) {
        return 0;
    }
    HttpByteSource bytes(tran);
    return source.kind.ParseAudio(source, control, bytes);
}

void DoAudioLoop(const StreamSource& source, const SoundSwitches& sound, StreamReports& reports,
                 ThreadControl& control) {
    std::uint32_t nFailures = 0;
    while (WaitForRun("DoAudioLoop", source.clock, source.m_uCHInMainDlg, control)) {
        if (!source.IsStreamFromCamera()) {
            // The recorder's stream brings its sound along.
            control.run.Reset();
            continue;
        }
        std::uint32_t nResult = 0;
        try {
            const bool bOwnSound = sound.m_bSupportAudio && source.kind.CanGetAudio();
            nResult = bOwnSound ? source.kind.GetAudio(source, control) : 0;
        } catch (...) {
            const Caught caught = TakeCaught();
            Trace("CBaseCamera::DoAudioLoop: m_uCHInMainDlg=%u, an exception: %s....\n",
                  source.m_uCHInMainDlg.load(), caught.what.data());
            TryStep("CBaseCamera::ShowText", [&] { reports.ShowText(TextOf(caught.fault)); });
        }
        nFailures = nResult == 0 ? nFailures + 1 : 0;
        WaitForVideoRetry(source.clock, control, nFailures);
    }
}

}  // namespace kvmon
