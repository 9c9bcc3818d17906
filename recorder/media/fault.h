// What is wrong, for people and for programs.
#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kvrecorder {

// Each has a name that stays, and English words: the table in fault.cpp. docs/recorder_api.md tells both.
enum class FaultCode : std::uint8_t {
    Other,  // words alone
    // --- the recorder
    OutOfMemory,
    NoThread,
    Busy,
    Failed,
    KindNotServed,
    // --- a camera's connection
    HostUnknown,
    NothingListens,
    NoWay,
    NoAnswer,
    PicturesStopped,
    LoginWanted,
    LoginRefused,
    PathUnknown,
    PicturesRefused,
    Closed,
    NotUnderstood,
    LeadsElsewhere,
    NotEncrypted,
    EncryptedNotRead,
    CameraFailed,
    CertificateNotTrusted,
    CertificateOtherHost,
    CertificateExpired,
    CertificateEarly,
    CertificateChanged,
    CertificateInvalid,
    CertificateNotChecked,
    // --- what it sends
    NoPictures,
    CodecUnknown,
    TypeUnknown,
    StreamMissing,
    SoundUnusable,
    NoKeyPicture,
    KeyPicturesRare,
    NoSecondKeyPicture,
    NotDecoded,
    // --- a camera of this computer
    DeviceMissing,
    DeviceDenied,
    DeviceBusy,
    DeviceGone,
    DeviceOther,
    DeviceNotEncoded,
    // --- ONVIF
    OnvifNothingListens,
    OnvifNoAnswer,
    OnvifClosed,
    OnvifStatus,
    OnvifTooLarge,
    OnvifNoXml,
    OnvifNoService,
    OnvifNoProfile,
    OnvifAddress,
    OnvifServiceAddress,
    OnvifPictureAddress,
    ProfileUnknown,
    CameraSays,
    // --- an address
    AddressScheme,
    AddressTooLong,
    AddressBlank,
    AddressHost,
    AddressPort,
    AddressBracket,
    AddressDevice,
    CertificateWord,
    // --- a request
    NotAdministrator,
    LengthWrong,
    BodyTooLarge,
    TypeWrong,
    BodyTooDeep,
    BodyNotJson,
    BodyNotObject,
    FieldUnknown,
    TextWrong,
    NumberWrong,
    ChoiceWrong,
    NameWanted,
    AddressWanted,
    PasswordWanted,
    PlaceWanted,
    PathMissing,
    MethodWrong,
    ChannelMissing,
    CameraMissing,
    TestMissing,
    PictureMissing,
    CamerasChanged,
    NoAddress,
    CannotSearch,
    CannotTest,
    TestsFull,
    // --- the configuration file
    NoConfigFile,
    ToldByOption,
    ConfigWrong,
    ConfigSlip,
    ConfigUnsteady,
    ConfigNotWritten,
    ChannelNotInFile,
    ChannelsFull,
    ChannelsInList,
    TableApart,
    NotServed,
};

// What the words tell beside the code. A time's name ends with "_ms".
struct FaultValue {
    template <std::integral T>
    FaultValue(std::string called, T number)
        : name(std::move(called)), value(static_cast<std::int64_t>(number)) {}
    FaultValue(std::string called, std::string text) : name(std::move(called)), value(std::move(text)) {}

    friend bool operator==(const FaultValue&, const FaultValue&) = default;

    std::string name;
    std::variant<std::int64_t, std::string> value;
};

struct Fault {
    Fault() = default;
    // Not explicit: a code is a fault by itself, and so are words that have none.
    Fault(FaultCode what, std::vector<FaultValue> told = {});  // NOLINT(google-explicit-constructor)
    Fault(std::string told);                                   // NOLINT(google-explicit-constructor)
    Fault(const char* told) : Fault(std::string(told)) {}      // NOLINT(google-explicit-constructor)

    bool Empty() const { return words.empty(); }
    friend bool operator==(const Fault&, const Fault&) = default;

    std::string code;  // by name; empty: nothing is wrong
    std::string words;
    std::vector<FaultValue> values;
};

struct FaultText {
    FaultCode code;
    std::string_view name;
    std::string_view words;  // with the names of values in braces
};
// All but the one for words alone.
std::span<const FaultText> FaultTexts();

// "1.5 s".
std::string TellSeconds(std::int64_t ms);

}  // namespace kvrecorder
