#include "media/fault.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace kvrecorder {
namespace {

using Code = FaultCode;

constexpr const char* kOther = "other";

// The value stands behind each fault of a certificate.
#define KV_TO_ACCEPT "; to accept it write certificate = \"{certificate}\" in the camera's source"

constexpr auto kTexts = std::to_array<FaultText>({
    {Code::OutOfMemory, "out_of_memory", "there is not enough memory for a camera"},
    {Code::NoThread, "no_thread", "there is no thread for the camera"},
    {Code::Busy, "busy", "too many requests wait already"},
    {Code::Failed, "failed", "the recorder cannot do that now"},
    {Code::KindNotServed, "kind_not_served", "cameras of this kind are not served here"},
    {Code::HostUnknown, "host_unknown", "the name of the camera's host is not known"},
    {Code::NothingListens, "nothing_listens", "nothing listens at the camera's address"},
    {Code::NoWay, "no_way", "no way leads to the camera's address"},
    {Code::NoAnswer, "no_answer", "the camera does not answer"},
    {Code::PicturesStopped, "pictures_stopped", "the camera sends no pictures any more"},
    {Code::LoginWanted, "login_wanted", "the camera wants a user and a password"},
    {Code::LoginRefused, "login_refused", "the camera refuses the user or the password"},
    {Code::PathUnknown, "path_unknown", "the camera knows no such path"},
    {Code::PicturesRefused, "pictures_refused", "the camera refuses to send pictures"},
    {Code::Closed, "closed", "the camera closed the connection"},
    {Code::NotUnderstood, "not_understood", "the camera's answer cannot be understood"},
    {Code::LeadsElsewhere, "leads_elsewhere",
     "the camera leads on to another address, which is not followed"},
    {Code::NotEncrypted, "not_encrypted", "no encrypted connection to the camera can be had"},
    {Code::EncryptedNotRead, "encrypted_not_read",
     "what the camera sends cannot be read from an encrypted connection; at rtsp:// it may be"},
    {Code::CameraFailed, "camera_failed", "the camera cannot be watched: {reason}"},
    {Code::CertificateNotTrusted, "certificate_not_trusted",
     "the camera's certificate is signed by nobody whom this computer trusts" KV_TO_ACCEPT},
    {Code::CertificateOtherHost, "certificate_other_host",
     "the camera's certificate was made for another host" KV_TO_ACCEPT},
    {Code::CertificateExpired, "certificate_expired", "the camera's certificate has expired" KV_TO_ACCEPT},
    {Code::CertificateEarly, "certificate_early", "the camera's certificate is not valid yet" KV_TO_ACCEPT},
    {Code::CertificateChanged, "certificate_changed",
     "the camera does not show the certificate that was accepted, but another one: it was given a new one, "
     "or "
     "somebody stands between" KV_TO_ACCEPT},
    {Code::CertificateInvalid, "certificate_invalid",
     "the camera's certificate is not valid ({reason})" KV_TO_ACCEPT},
    {Code::CertificateNotChecked, "certificate_not_checked",
     "certificates of cameras cannot be checked by this computer's libraries"},
    {Code::NoPictures, "no_pictures", "the camera offers no pictures"},
    {Code::CodecUnknown, "codec_unknown", "the camera's codec ({codec}) is none that can be passed on"},
    {Code::TypeUnknown, "type_unknown", "what the camera sends ({type}) is none that can be passed on"},
    {Code::StreamMissing, "stream_missing", "the camera has no such stream"},
    {Code::SoundUnusable, "sound_unusable", "its sound ({sound}) cannot be taken"},
    {Code::NoKeyPicture, "no_key_picture", "pictures come, but none that one can begin with"},
    {Code::KeyPicturesRare, "key_pictures_rare",
     "a key picture comes only every {every_ms}: who begins to watch waits for one; set the camera to one a "
     "second or two"},
    {Code::NoSecondKeyPicture, "no_second_key_picture",
     "no second key picture came in {watched_ms}: who begins to watch waits for one; set the camera to one a "
     "second or two"},
    {Code::NotDecoded, "not_decoded", "its pictures cannot be decoded"},
    {Code::DeviceMissing, "device_missing", "there is no such device"},
    {Code::DeviceDenied, "device_denied", "this program may not open the device"},
    {Code::DeviceBusy, "device_busy", "another program uses the device"},
    {Code::DeviceGone, "device_gone", "the device is gone"},
    {Code::DeviceOther, "device_other", "this is no device that gives pictures"},
    {Code::DeviceNotEncoded, "device_not_encoded", "the device's pictures cannot be encoded: {reason}"},
    {Code::OnvifNothingListens, "onvif_nothing_listens", "nothing listens at the camera's ONVIF address"},
    {Code::OnvifNoAnswer, "onvif_no_answer", "the camera does not answer to ONVIF in time"},
    {Code::OnvifClosed, "onvif_closed", "the camera closed the ONVIF connection"},
    {Code::OnvifStatus, "onvif_status", "the camera answers to ONVIF with the HTTP status {status}"},
    {Code::OnvifTooLarge, "onvif_too_large", "the camera's answer is too large"},
    {Code::OnvifNoXml, "onvif_no_xml", "the camera's answer is no XML, or a damaged one"},
    {Code::OnvifNoService, "onvif_no_service", "the camera tells no service for pictures"},
    {Code::OnvifNoProfile, "onvif_no_profile", "the camera tells no profile with pictures"},
    {Code::OnvifAddress, "onvif_address", "the camera tells an address that is none"},
    {Code::OnvifServiceAddress, "onvif_service_address",
     "the camera tells a service at an address that is none of HTTP"},
    {Code::OnvifPictureAddress, "onvif_picture_address",
     "the camera tells pictures at an address that is none of RTSP"},
    {Code::ProfileUnknown, "profile_unknown", "the camera has no profile \"{profile}\" with pictures"},
    {Code::CameraSays, "camera_says", "the camera says: {reason}"},
    {Code::AddressScheme, "address_scheme",
     "this is no address of a camera: it begins with one of these: {schemes}"},
    {Code::AddressTooLong, "address_too_long",
     "this is no address of a camera: it is longer than {limit} characters"},
    {Code::AddressBlank, "address_blank",
     "this is no address of a camera: it has a blank or a control character in it"},
    {Code::AddressHost, "address_host",
     "this is no address of a camera: the name of a host is wanted behind ://"},
    {Code::AddressPort, "address_port",
     "this is no address of a camera: the port is a number from {low} to {high}"},
    {Code::AddressBracket, "address_bracket",
     "this is no address of a camera: [ is closed by ], with a port or the path behind it"},
    {Code::AddressDevice, "address_device",
     "this is no address of a camera: a device such as /dev/video0 is wanted behind usb:"},
    {Code::CertificateWord, "certificate_word",
     "\"any\" is wanted, or \"sha256:\" and the 64 hexadecimal digits of a certificate's fingerprint"},
    {Code::NotAdministrator, "not_administrator", "only a user who is an administrator may do that"},
    {Code::LengthWrong, "length_wrong", "the length of the body is no number"},
    {Code::BodyTooLarge, "body_too_large", "the body is larger than {limit} bytes"},
    {Code::TypeWrong, "type_wrong", "the body's type must be application/json"},
    {Code::BodyTooDeep, "body_too_deep", "the body is nested too deep: {limit} levels are the most"},
    {Code::BodyNotJson, "body_not_json", "the body is not JSON"},
    {Code::BodyNotObject, "body_not_object", "an object is wanted"},
    {Code::FieldUnknown, "field_unknown", "there is no field \"{name}\""},
    {Code::TextWrong, "text_wrong", "a text of at most {limit} bytes is wanted"},
    {Code::NumberWrong, "number_wrong", "a number from {low} to {high} is wanted"},
    {Code::ChoiceWrong, "choice_wrong", "one of these is wanted: {choices}"},
    {Code::NameWanted, "name_wanted", "a camera needs a name"},
    {Code::AddressWanted, "address_wanted", "a camera needs an address"},
    {Code::PasswordWanted, "password_wanted",
     "the address is at another host, for which the password is to be given anew"},
    {Code::PlaceWanted, "place_wanted", "the place that it moves to is wanted"},
    {Code::PathMissing, "path_missing", "there is nothing of this name"},
    {Code::MethodWrong, "method_wrong", "here one may {allowed}"},
    {Code::ChannelMissing, "channel_missing", "there is no such channel"},
    {Code::CameraMissing, "camera_missing", "there is no such camera"},
    {Code::TestMissing, "test_missing", "there is no such test"},
    {Code::PictureMissing, "picture_missing", "the test has no picture"},
    {Code::CamerasChanged, "cameras_changed", "the cameras have changed meanwhile; look at them again"},
    {Code::NoAddress, "no_address", "the channel's pictures come from no camera, so that it has no address"},
    {Code::CannotSearch, "cannot_search", "this recorder cannot search for cameras"},
    {Code::CannotTest, "cannot_test", "this recorder cannot test cameras"},
    {Code::TestsFull, "tests_full", "{limit} tests run already; wait for one of them"},
    {Code::NoConfigFile, "no_config_file",
     "the recorder was started without a configuration file, so that changes cannot be kept; give --config"},
    {Code::ToldByOption, "told_by_option",
     "what is served was told by {option}, so that changes cannot be kept; start with --config alone"},
    {Code::ConfigWrong, "config_wrong", "{reason}"},
    {Code::ConfigSlip, "config_slip", "the file has a slip in line {line}: {reason}"},
    {Code::ConfigUnsteady, "config_unsteady", "the configuration file does not stop changing"},
    {Code::ConfigNotWritten, "config_not_written", "the configuration file cannot be written: {reason}"},
    {Code::ChannelNotInFile, "channel_not_in_file", "channel {channel} does not stand in the file"},
    {Code::ChannelsFull, "channels_full", "there are as many channels as there can be: {limit}"},
    {Code::ChannelsInList, "channels_in_list",
     "the channels stand in one list, which is left to those who write the file"},
    {Code::TableApart, "table_apart", "line {line}: a table of a channel stands apart from the channel"},
    {Code::NotServed, "not_served", "it is kept, but cannot be served now: {reason}"},
});

#undef KV_TO_ACCEPT

std::string WordsOf(const FaultValue& value) {
    const auto* const number = std::get_if<std::int64_t>(&value.value);
    if (!number) {
        return std::get<std::string>(value.value);
    }
    return value.name.ends_with("_ms") ? TellSeconds(*number) : std::to_string(*number);
}

std::string Fill(std::string_view pattern, const std::vector<FaultValue>& values) {
    std::string words;
    while (true) {
        const std::size_t open = pattern.find('{');
        words += pattern.substr(0, open);
        if (open == std::string_view::npos) {
            return words;
        }
        const std::size_t end = pattern.find('}', open);
        const std::string_view name = pattern.substr(open + 1, end - open - 1);
        const auto found = std::find_if(values.begin(), values.end(),
                                        [&](const FaultValue& value) { return value.name == name; });
        if (found != values.end()) {
            words += WordsOf(*found);
        }
        pattern.remove_prefix(end + 1);
    }
}

}  // namespace

Fault::Fault(FaultCode what, std::vector<FaultValue> told) : values(std::move(told)) {
    const auto found =
        std::find_if(kTexts.begin(), kTexts.end(), [&](const FaultText& text) { return text.code == what; });
    code = found != kTexts.end() ? found->name : kOther;
    words = found != kTexts.end() ? Fill(found->words, values) : "";
}

Fault::Fault(std::string told) : code(told.empty() ? "" : kOther), words(std::move(told)) {}

std::span<const FaultText> FaultTexts() {
    return kTexts;
}

std::string TellSeconds(std::int64_t ms) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(ms) / 1000);
    return text;
}

}  // namespace kvrecorder
