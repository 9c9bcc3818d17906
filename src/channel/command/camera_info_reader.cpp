#include "channel/command/camera_info_reader.h"

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/base/channel_thread.h"
#include "channel/base/channel_windows.h"
#include "channel/command/abilities.h"
#include "channel/command/command_exchange.h"
#include "channel/command/command_results.h"
#include "channel/command/ptz_request.h"
#include "channel/source/stream_source.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr int kInfoFound = 200;
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

// One pass over the camera's documents.
class InfoRound {
public:
    explicit InfoRound(const CommandParts& parts) : m_parts(parts) {}

    // True with all of `info` read; else the outcome tells why not.
    bool Read(CameraInfo& info, Outcome& outcome) {
        if (!m_parts.source.GetKelvaraSettings(m_settings)) {
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
        return m_parts.source.GetKelvaraSettings(m_settings) &&
               Query("GetPresetCapacityFromKelvara", kWirePresetFormat, body, outcome) &&
               (ParsePresetFormat(body, format) || Unreadable("GetPresetCapacityFromKelvara", outcome));
    }

private:
    void TraceFailure(const char* lpszStep) const {
        Trace("CBaseCamera::GetCameraInfoFromKelvara: m_uCHInMainDlg=%u, %s failed....\n",
              m_parts.source.m_uCHInMainDlg.load(), lpszStep);
    }

    bool Unreadable(const char* lpszStep, Outcome& outcome) const {
        outcome.result = InfoResult::ReadFailed;
        TraceFailure(lpszStep);
        return false;
    }

    bool Query(const char* lpszStep, int nWireCommand, std::string& body, Outcome& outcome) {
        outcome = {};
        CommandExchange exchange(m_parts.clock, m_parts.control.abort);
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
            outcome.result = ResultOf<InfoResult>(*failed);
            return false;
        }
        if (exchange.GetStatus() != kInfoFound) {
            outcome.result = InfoResult::BadStatus;
            outcome.status = exchange.GetStatus();
            return false;
        }
        return true;
    }

    // That the tag is there is the answer; its value is not looked at.
    bool GetAudioFromKelvara(bool& bAudio, Outcome& outcome) {
        CommandExchange exchange(m_parts.clock, m_parts.control.abort);
        if (!Ask(exchange, BuildAudioQuery(m_settings), outcome)) {
            Trace("CBaseCamera::GetAudioFromKelvara: m_uCHInMainDlg=%u, http_result.nStatus=%d....\n",
                  m_parts.source.m_uCHInMainDlg.load(), outcome.status);
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
        return m_parts.control.abort == 0;
    }

    const CommandParts& m_parts;
    TargetSettings m_settings;
};

// A camera whose abilities cannot be read now may well obey. This reading serves a further command to read
// them, unless that came with the word to leave it.
void RunWaitingCommands(const CommandParts& parts, const std::function<void(const CamCmd&)>& carryOut) {
    while (parts.control.abort == 0) {
        const auto command = parts.queue.Pop();
        if (!command) {
            return;
        }
        if (command->dwCmd != kCmdReadCameraInfo) {
            carryOut(*command);
        } else if (parts.control.abort != 0) {
            parts.queue.Push(*command);
        }
    }
}

// False when asked to leave.
bool WaitForNextRound(const CommandParts& parts, const std::function<void(const CamCmd&)>& carryOut) {
    ThreadControl& control = parts.control;
    const std::uint64_t end = parts.clock.TickMs() + kRoundPauseMs;
    Event* const events[] = {&control.exit, &control.run};
    while (control.abort == 0 && parts.clock.TickMs() < end) {
        // Reset first: a command that comes from here on ends the wait.
        control.run.Reset();
        RunWaitingCommands(parts, carryOut);
        parts.clock.WaitAny(events, kAbortLook);
    }
    return control.abort == 0;
}

Outcome ReadRounds(const CommandParts& parts, const std::function<void(const CamCmd&)>& carryOut) {
    Outcome outcome;
    int nFailed = 0;
    bool bDiffered = false;
    for (;;) {
        CameraInfo info;
        outcome = {};
        if (InfoRound(parts).Read(info, outcome)) {
            const bool bSame = parts.abilities.IsKnown(info);
            if (bSame || bDiffered) {
                parts.abilities.Store(info);
                outcome.result = bSame ? InfoResult::Same : InfoResult::Changed;
                return outcome;
            }
            bDiffered = true;
            continue;
        }
        nFailed += outcome.bCounts ? 1 : 0;
        if (nFailed >= kMaxFailedRounds || !WaitForNextRound(parts, carryOut)) {
            return outcome;
        }
    }
}

void Tell(const CommandParts& parts, const Outcome& outcome) {
    parts.windows.PostToCell(kMsgCaptionRefresh, static_cast<WParam>(outcome.result), outcome.status);
}

}  // namespace

void GetCameraInfoFromKelvara(const CommandParts& parts, const std::function<void(const CamCmd&)>& carryOut) {
    const Outcome outcome = ReadRounds(parts, carryOut);
    parts.abilities.NoteReadingEnded(parts.clock.TickMs());
    Tell(parts, outcome);
}

void GetPresetCapacityFromKelvara(const CommandParts& parts) {
    Outcome outcome;
    PresetFormat format;
    if (InfoRound(parts).ReadFormat(format, outcome)) {
        outcome.result = parts.abilities.SetPresetFormat(format) ? InfoResult::Changed : InfoResult::Same;
    }
    Tell(parts, outcome);
}

}  // namespace kvmon
