// Reading what a camera can do.
#include "channel/cam_command.h"
#include "channel/cam_commands.h"
#include "channel/channel_messages.h"
#include "channel/command_exchange.h"
#include "channel/ptz_request.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr int kStatusOk = 200;
constexpr int kStatusGatewayTimeout = 504;
constexpr std::uint32_t kStatusTimeout = 15000;  // the recorder may have to ask the camera
constexpr std::uint32_t kBodyTimeout = 5000;
constexpr std::size_t kBodySize = 3096;
constexpr int kMaxFailedRounds = 5;
constexpr std::uint64_t kRoundPauseMs = 2000;
constexpr Milliseconds kAbortLook{200};
constexpr int kWirePresetTable = 15;
constexpr int kWireCapabilities = 16;
constexpr int kWirePresetFormat = 20;

struct Outcome {
    InfoResult result = InfoResult::None;
    int status = 0;
    bool bCounts = true;  // as a failed round
};

InfoResult ResultOf(ExchangeStep step) {
    switch (step) {
        case ExchangeStep::Create:
            return InfoResult::CreateFailed;
        case ExchangeStep::Connect:
            return InfoResult::ConnectFailed;
        case ExchangeStep::Send:
            return InfoResult::SendFailed;
        case ExchangeStep::StatusLine:
            break;
    }
    return InfoResult::ReadFailed;
}

// One pass over the camera's documents.
class InfoRound {
public:
    InfoRound(ChannelCore& core, const FlagWord& bAbort) : m_core(core), m_bAbort(bAbort) {}

    // True with all of `info` read; else the outcome tells why not.
    bool Read(CameraInfo& info, Outcome& outcome) {
        if (!m_core.GetKelvaraSettings(m_settings)) {
            TraceFailure("GetKelvaraSettings");
            return false;
        }
        std::string body;
        bool bHasPresets = false;
        if (!Query("GetPtzCapabilitiesFromKelvara", kWireCapabilities, body, outcome)) {
            return false;
        }
        if (!ParseCapabilities(body, info, bHasPresets)) {
            return Unreadable("GetPtzCapabilitiesFromKelvara", outcome);
        }
        if (!GetAudioFromKelvara(info.bAudio, outcome)) {
            outcome.bCounts = false;
            TraceFailure("GetAudioFromKelvara");
            return false;
        }
        if (!bHasPresets) {
            return true;
        }
        if (!Query("GetPresetTableFromKelvara", kWirePresetTable, body, outcome)) {
            return false;
        }
        return ParsePresetTable(body, info) || Unreadable("GetPresetTableFromKelvara", outcome);
    }

    bool ReadFormat(PresetFormat& format, Outcome& outcome) {
        std::string body;
        return m_core.GetKelvaraSettings(m_settings) &&
               Query("GetPresetCapacityFromKelvara", kWirePresetFormat, body, outcome) &&
               (ParsePresetFormat(body, format) || Unreadable("GetPresetCapacityFromKelvara", outcome));
    }

private:
    void TraceFailure(const char* lpszStep) const {
        Trace("CBaseCamera::GetCameraInfoFromKelvara: m_uCHInMainDlg=%u, %s failed....\n",
              m_core.m_uCHInMainDlg.load(), lpszStep);
    }

    bool Unreadable(const char* lpszStep, Outcome& outcome) const {
        outcome.result = InfoResult::ReadFailed;
        TraceFailure(lpszStep);
        return false;
    }

    bool Query(const char* lpszStep, int nWireCommand, std::string& body, Outcome& outcome) {
        outcome = {};
        CommandExchange exchange(m_core, m_bAbort);
        if (!Ask(exchange, BuildPtzQuery(nWireCommand, m_settings), outcome)) {
            outcome.bCounts = outcome.status != kStatusGatewayTimeout;
            TraceFailure(lpszStep);
            return false;
        }
        body = exchange.SkipHead() ? exchange.ReadBody(kBodySize, kBodyTimeout) : std::string();
        return !body.empty() || Unreadable(lpszStep, outcome);
    }

    bool Ask(CommandExchange& exchange, const std::optional<std::string>& request, Outcome& outcome) {
        if (!request) {
            outcome.result = InfoResult::RequestTooLong;
            return false;
        }
        if (const auto failed = exchange.Start(m_settings, *request, kStatusTimeout)) {
            outcome.result = ResultOf(*failed);
            return false;
        }
        if (exchange.GetStatus() != kStatusOk) {
            outcome.result = InfoResult::BadStatus;
            outcome.status = exchange.GetStatus();
            return false;
        }
        return true;
    }

    // That the tag is there is the answer; its value is not looked at.
    bool GetAudioFromKelvara(bool& bAudio, Outcome& outcome) {
        CommandExchange exchange(m_core, m_bAbort);
        if (!Ask(exchange, BuildAudioQuery(m_settings), outcome)) {
            Trace("CBaseCamera::GetAudioFromKelvara: m_uCHInMainDlg=%u, http_result.nStatus=%d....\n",
                  m_core.m_uCHInMainDlg.load(), outcome.status);
            return false;
        }
        constexpr int kMaxLines = 10000;
        for (int i = 0; i < kMaxLines && !bAudio; ++i) {
            const auto line = exchange.ReadLine();
            if (!line) {
                break;
            }
            bAudio = line->find("<audio_enabled>") != std::string::npos;
        }
        return m_bAbort == 0;
    }

    ChannelCore& m_core;
    const FlagWord& m_bAbort;
    TargetSettings m_settings;
};

// What the channel knew before.
bool IsKnown(ChannelCore& core, const CameraInfo& info) {
    const std::lock_guard lock(core.m_cs);
    return core.m_cameraInfo == info;
}

void Store(ChannelCore& core, const CameraInfo& info) {
    {
        const std::lock_guard lock(core.m_cs);
        core.m_cameraInfo = info;
    }
    core.m_sound.m_bSupportAudio = info.bAudio;
}

// A camera whose abilities cannot be read now may well obey. Another word to read them is this reading's,
// but for one that came with the word to leave it.
void RunWaitingCommands(ChannelCore& core, ThreadControl& control) {
    while (control.abort == 0) {
        const auto command = core.m_CamCmdQueue.Pop();
        if (!command) {
            return;
        }
        if (command->dwCmd != kCmdReadCameraInfo) {
            ExecuteCamCmd(core, *command, control);
        } else if (control.abort != 0) {
            core.m_CamCmdQueue.Push(*command);
        }
    }
}

// False when asked to leave.
bool WaitForNextRound(ChannelCore& core, ThreadControl& control) {
    const std::uint64_t end = core.clock.TickMs() + kRoundPauseMs;
    while (control.abort == 0 && core.clock.TickMs() < end) {
        // Reset first: a command that comes from here on ends the wait.
        control.run.Reset();
        RunWaitingCommands(core, control);
        core.clock.Wait(control.run, kAbortLook);
    }
    return control.abort == 0;
}

Outcome ReadRounds(ChannelCore& core, ThreadControl& control) {
    const FlagWord& bAbort = control.abort;
    Outcome outcome;
    int nFailed = 0;
    bool bDiffered = false;
    for (;;) {
        CameraInfo info;
        outcome = {};
        if (InfoRound(core, bAbort).Read(info, outcome)) {
            const bool bSame = IsKnown(core, info);
            if (bSame || bDiffered) {
                Store(core, info);
                core.m_bCameraInfoLoaded = true;
                outcome.result = bSame ? InfoResult::Same : InfoResult::Changed;
                return outcome;
            }
            bDiffered = true;
            continue;
        }
        nFailed += outcome.bCounts ? 1 : 0;
        if (nFailed >= kMaxFailedRounds || !WaitForNextRound(core, control)) {
            return outcome;
        }
    }
}

void Tell(ChannelCore& core, const Outcome& outcome) {
    WindowHandle cell;
    {
        const std::lock_guard lock(core.m_cs);
        cell = core.m_hVideoWnd;
    }
    cell.Post(kMsgCaptionRefresh, static_cast<WParam>(outcome.result), outcome.status);
}

}  // namespace

void GetCameraInfoFromKelvara(ChannelCore& core, ThreadControl& control) {
    const Outcome outcome = ReadRounds(core, control);
    core.m_nInfoReadTick = core.clock.TickMs();
    Tell(core, outcome);
}

void GetPresetCapacityFromKelvara(ChannelCore& core, const FlagWord& bAbort) {
    Outcome outcome;
    PresetFormat format;
    if (InfoRound(core, bAbort).ReadFormat(format, outcome)) {
        const std::lock_guard lock(core.m_cs);
        outcome.result = core.m_presetFormat == format ? InfoResult::Same : InfoResult::Changed;
        core.m_presetFormat = format;
    }
    Tell(core, outcome);
}

}  // namespace kvmon
