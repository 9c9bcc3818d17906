// The commands that act on the camera or the recorder.
#include "channel/command/cam_command.h"

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/base/channel_thread.h"
#include "channel/base/channel_windows.h"
#include "channel/command/abilities.h"
#include "channel/command/camera_info_reader.h"
#include "channel/command/command_exchange.h"
#include "channel/command/command_results.h"
#include "channel/command/end_stop.h"
#include "channel/command/ptz_request.h"
#include "channel/source/stream_source.h"
#include "platform/outside_text.h"

namespace kvmon {

namespace {

constexpr int kStatusOk = 200;
constexpr int kStatusNoContent = 204;

constexpr int kWireStorePreset = 21;
constexpr int kWireSendPreset = 22;
constexpr std::uint32_t kTimerAfterStore = 87;
constexpr std::uint32_t kTimerAfterSend = 86;

void SendPtzCmd(const CommandParts& parts, const CamCmd& command) {
    TargetSettings settings;
    if (!parts.source.GetKelvaraSettings(settings)) {
        return;
    }
    const auto request = BuildPtzRequest(command.dwCmd, command.dwArg, settings);
    if (!request) {
        return;
    }
    const auto post = [&parts](PtzResult result, LParam nEndStop = 0) {
        if (result != PtzResult::Done) {
            parts.abilities.CountFailedCommand();
        }
        parts.windows.PostToCell(kMsgEndStop, static_cast<WParam>(result), nEndStop);
    };
    CommandExchange exchange(parts.clock, parts.control.abort);
    if (const auto failed = exchange.Start(settings, *request)) {
        return post(ResultOf<PtzResult>(*failed));
    }
    if (exchange.GetStatus() == kStatusNoContent) {
        return post(PtzResult::Done);
    }
    if (exchange.GetStatus() != kStatusOk) {
        return post(PtzResult::BadStatus);
    }
    // What the reply says has no meaning for the channel; that there is one has.
    post(PtzResult::Done, exchange.HasBody(2048, 10000) ? 0 : kEndStopError);
}

std::pair<RecordingResult, int> Record(const CommandParts& parts, bool bOn) {
    parts.abilities.SetRecordingFault({});
    TargetSettings settings;
    parts.source.GetKelvaraSettings(settings);
    const auto request = BuildManualRecording(bOn, settings);
    if (!request) {
        return {RecordingResult::SendFailed, 0};
    }
    CommandExchange exchange(parts.clock, parts.control.abort);
    if (const auto failed = exchange.Start(settings, *request)) {
        return {ResultOf<RecordingResult>(*failed), 0};
    }
    if (exchange.GetStatus() != kStatusOk) {
        return {RecordingResult::BadStatus, exchange.GetStatus()};
    }
    for (int i = 0; i < 3; ++i) {
        exchange.ReadLine();
    }
    const auto answer = exchange.ReadLine();
    if (!answer) {
        return {RecordingResult::LastLineFailed, 0};
    }
    if (answer->starts_with("OK")) {
        return {RecordingResult::Done, 0};
    }
    // "NG" and, of some recorders, the reason.
    parts.abilities.SetRecordingFault(OutsideLine(answer->starts_with("NG ") ? answer->substr(3) : ""));
    return {RecordingResult::NotOk, 0};
}

void SetManualRecording(const CommandParts& parts, bool bOn) {
    const auto [result, status] = Record(parts, bOn);
    parts.windows.PostToCell(kMsgManualRecording, static_cast<WParam>(result), status);
}

// The exchange of commands 21 and 22; the cell hears of its end by the timer, whatever the outcome.
void SendPreset(const CommandParts& parts, int nWireCommand, const std::string& argument) {
    TargetSettings settings;
    if (!parts.source.GetKelvaraSettings(settings)) {
        return;
    }
    if (const auto request = BuildPresetCommand(nWireCommand, argument, settings)) {
        CommandExchange exchange(parts.clock, parts.control.abort);
        if (!exchange.Start(settings, *request) && exchange.GetStatus() == kStatusOk) {
            for (int i = 0; i < 4; ++i) {
                exchange.ReadLine();
            }
        }
    }
    parts.windows.PostToCell(WM_TIMER, nWireCommand == kWireStorePreset ? kTimerAfterStore : kTimerAfterSend,
                             0);
}

void SendPresetNameCmd(const CommandParts& parts, std::uint32_t nTicket) {
    const auto record = parts.abilities.TakePresetRecord(nTicket);
    if (!record || record->nIndex >= kPresetCount) {
        return;
    }
    const bool bNames = parts.abilities.GetPresetFormat().bNamesSupported != 0;
    if (const auto argument = FormatPresetArgument(record->nIndex, record->name, bNames)) {
        SendPreset(parts, kWireStorePreset, *argument);
    }
}

void SendPresetIndexCmd(const CommandParts& parts, std::uint32_t nIndex) {
    if (nIndex >= kPresetCount) {
        return;
    }
    const std::string name = parts.abilities.GetPresetName(nIndex);
    const bool bNames = parts.abilities.GetPresetFormat().bNamesSupported != 0;
    if (const auto argument = FormatPresetArgument(nIndex, name, bNames)) {
        SendPreset(parts, kWireSendPreset, *argument);
    }
}

}  // namespace

void ExecuteCamCmd(const CommandParts& parts, const CamCmd& command) {
    switch (command.dwCmd) {
        case kCmdManualRecording:
            return SetManualRecording(parts, command.dwArg != 0);
        case kCmdReadCameraInfo:
            return GetCameraInfoFromKelvara(parts,
                                            [&parts](const CamCmd& other) { ExecuteCamCmd(parts, other); });
        case kCmdPresetIndex:
            return SendPresetIndexCmd(parts, command.dwArg);
        case kCmdPresetName:
            return SendPresetNameCmd(parts, command.dwArg);
        case kCmdReadPresetFormat:
            return GetPresetCapacityFromKelvara(parts);
        default:
            return SendPtzCmd(parts, command);
    }
}

}  // namespace kvmon
