// The commands that act on the camera or the recorder.
#include "channel/cam_command.h"

#include "channel/cam_commands.h"
#include "channel/channel_messages.h"
#include "channel/command_exchange.h"
#include "channel/ptz_request.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr int kStatusOk = 200;
constexpr int kStatusNoContent = 204;
constexpr std::uint32_t kPtzError = 8;  // the end-stop code of an empty reply

constexpr int kWireStorePreset = 21;
constexpr int kWireSendPreset = 22;
constexpr std::uint32_t kTimerAfterStore = 87;
constexpr std::uint32_t kTimerAfterSend = 86;

void PostToCell(ChannelCore& core, std::uint32_t message, WParam wParam, LParam lParam) {
    WindowHandle cell;
    {
        const std::lock_guard lock(core.m_cs);
        cell = core.m_hVideoWnd;
    }
    cell.Post(message, wParam, lParam);
}

PtzResult ResultOf(ExchangeStep step) {
    switch (step) {
        case ExchangeStep::Create:
            return PtzResult::CreateFailed;
        case ExchangeStep::Connect:
            return PtzResult::ConnectFailed;
        case ExchangeStep::Send:
            return PtzResult::SendFailed;
        case ExchangeStep::StatusLine:
            break;
    }
    return PtzResult::ReadFailed;
}

RecordingResult RecordingResultOf(ExchangeStep step) {
    switch (step) {
        case ExchangeStep::Create:
            return RecordingResult::CreateFailed;
        case ExchangeStep::Connect:
            return RecordingResult::ConnectFailed;
        case ExchangeStep::Send:
            return RecordingResult::SendFailed;
        case ExchangeStep::StatusLine:
            break;
    }
    return RecordingResult::StatusLineFailed;
}

void SendPtzCmd(ChannelCore& core, const CamCmd& command, const FlagWord& bAbort) {
    TargetSettings settings;
    if (!core.GetKelvaraSettings(settings)) {
        return;
    }
    const auto request = BuildPtzRequest(command.dwCmd, command.dwArg, settings);
    if (!request) {
        return;
    }
    const auto post = [&core](PtzResult result, std::uint32_t nEndStop = 0) {
        core.m_nFailedCommands += result == PtzResult::Done ? 0 : 1;
        PostToCell(core, kMsgEndStop, static_cast<WParam>(result), nEndStop);
    };
    CommandExchange exchange(core, bAbort);
    if (const auto failed = exchange.Start(settings, *request)) {
        return post(ResultOf(*failed));
    }
    if (exchange.GetStatus() == kStatusNoContent) {
        return post(PtzResult::Done);
    }
    if (exchange.GetStatus() != kStatusOk) {
        return post(PtzResult::BadStatus);
    }
    // What the reply says has no meaning for the channel; that there is one has.
    post(PtzResult::Done, exchange.HasBody(2048, 10000) ? 0 : kPtzError);
}

std::pair<RecordingResult, int> Record(ChannelCore& core, bool bOn, const FlagWord& bAbort) {
    TargetSettings settings;
    core.GetKelvaraSettings(settings);
    const auto request = BuildManualRecording(bOn, settings);
    if (!request) {
        return {RecordingResult::SendFailed, 0};
    }
    CommandExchange exchange(core, bAbort);
    if (const auto failed = exchange.Start(settings, *request)) {
        return {RecordingResultOf(*failed), 0};
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
    return {answer->starts_with("OK") ? RecordingResult::Done : RecordingResult::NotOk, 0};
}

void SetManualRecording(ChannelCore& core, bool bOn, const FlagWord& bAbort) {
    const auto [result, status] = Record(core, bOn, bAbort);
    PostToCell(core, kMsgManualRecording, static_cast<WParam>(result), status);
}

// The exchange of commands 21 and 22; the cell hears of its end by the timer, whatever the outcome.
void SendPreset(ChannelCore& core, int nWireCommand, const std::string& argument, const FlagWord& bAbort) {
    TargetSettings settings;
    if (!core.GetKelvaraSettings(settings)) {
        return;
    }
    if (const auto request = BuildPresetCommand(nWireCommand, argument, settings)) {
        CommandExchange exchange(core, bAbort);
        if (!exchange.Start(settings, *request) && exchange.GetStatus() == kStatusOk) {
            for (int i = 0; i < 4; ++i) {
                exchange.ReadLine();
            }
        }
    }
    PostToCell(core, WM_TIMER, nWireCommand == kWireStorePreset ? kTimerAfterStore : kTimerAfterSend, 0);
}

void SendPresetNameCmd(ChannelCore& core, std::uint32_t nTicket, const FlagWord& bAbort) {
    PresetRecord record;
    bool bNames = false;
    {
        const std::lock_guard lock(core.m_cs);
        const auto found = core.m_presetRecords.find(nTicket);
        if (found == core.m_presetRecords.end()) {
            return;
        }
        record = std::move(found->second);
        core.m_presetRecords.erase(found);
        bNames = core.m_presetFormat.bNamesSupported != 0;
    }
    if (record.nIndex >= kPresetCount) {
        return;
    }
    if (const auto argument = FormatPresetArgument(record.nIndex, record.name, bNames)) {
        SendPreset(core, kWireStorePreset, *argument, bAbort);
    }
}

void SendPresetIndexCmd(ChannelCore& core, std::uint32_t nIndex, const FlagWord& bAbort) {
    if (nIndex >= kPresetCount) {
        return;
    }
    std::string name;
    bool bNames = false;
    {
        const std::lock_guard lock(core.m_cs);
        name = core.m_cameraInfo.presetNames[nIndex];
        bNames = core.m_presetFormat.bNamesSupported != 0;
    }
    if (const auto argument = FormatPresetArgument(nIndex, name, bNames)) {
        SendPreset(core, kWireSendPreset, *argument, bAbort);
    }
}

}  // namespace

void ExecuteCamCmd(ChannelCore& core, const CamCmd& command, ThreadControl& control) {
    const FlagWord& bAbort = control.abort;
    switch (command.dwCmd) {
        case kCmdManualRecording:
            return SetManualRecording(core, command.dwArg != 0, bAbort);
        case kCmdReadCameraInfo:
            return GetCameraInfoFromKelvara(core, control);
        case kCmdPresetIndex:
            return SendPresetIndexCmd(core, command.dwArg, bAbort);
        case kCmdPresetName:
            return SendPresetNameCmd(core, command.dwArg, bAbort);
        case kCmdReadPresetFormat:
            return GetPresetCapacityFromKelvara(core, bAbort);
        default:
            return SendPtzCmd(core, command, bAbort);
    }
}

}  // namespace kvmon
