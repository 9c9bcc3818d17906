#include "server/documents/document_errors.h"

#include <span>

namespace kvmon {

namespace {

template <typename Error>
struct Row {
    Error error;
    const char* text;
};

constexpr Row<ConcInfoError> kConcInfo[] = {
    {ConcInfoError::Create, "no socket"},
    {ConcInfoError::Connect, "no connection"},
    {ConcInfoError::Send, "the request was not sent"},
    {ConcInfoError::StatusLine, "no status line"},
    {ConcInfoError::NotFound, "not found below this root"},
    {ConcInfoError::BadStatus, "a status other than 200"},
    {ConcInfoError::ServerName, "no server name"},
    {ConcInfoError::VersionRead, "the version line did not come"},
    {ConcInfoError::VersionKey, "no version"},
    {ConcInfoError::BuildRead, "the build line did not come"},
    {ConcInfoError::BuildKey, "no build"},
    {ConcInfoError::ChannelNumberRead, "the channel number's line did not come"},
    {ConcInfoError::ChannelNumberKey, "no channel number"},
    {ConcInfoError::StartMarkerRead, "the records did not begin"},
    {ConcInfoError::StartMarker, "no start marker"},
    {ConcInfoError::RecordCount, "the records are not as many as told"},
    {ConcInfoError::Unauthorized, "unauthorized"},
    {ConcInfoError::RequestTooLong, "the request is too long"},
};

constexpr Row<DiskInfoError> kDiskInfo[] = {
    {DiskInfoError::Create, "no socket"},
    {DiskInfoError::Connect, "no connection"},
    {DiskInfoError::Send, "the request was not sent"},
    {DiskInfoError::StatusLine, "no status line"},
    {DiskInfoError::RecordingLine, "the recording line did not come"},
    {DiskInfoError::ChannelCount, "no channel count"},
    {DiskInfoError::SectionA, "the first section is short"},
    {DiskInfoError::SectionB, "the second section is short"},
    {DiskInfoError::SectionC, "the third section is short"},
    {DiskInfoError::SectionD, "the fourth section is short"},
    {DiskInfoError::SectionE, "the fifth section is short"},
    {DiskInfoError::RequestTooLong, "the request is too long"},
};

constexpr Row<ExtInfoError> kExtInfo[] = {
    {ExtInfoError::Create, "no socket"},
    {ExtInfoError::Connect, "no connection"},
    {ExtInfoError::Send, "the request was not sent"},
    {ExtInfoError::StatusLine, "no status line"},
    {ExtInfoError::BadStatus, "a status other than 200"},
    {ExtInfoError::FirstLine, "the first line did not come"},
    {ExtInfoError::SecondLine, "no number of lines"},
    {ExtInfoError::ThirdLine, "the records did not begin"},
    {ExtInfoError::StartMarker, "no start marker"},
    {ExtInfoError::ChannelRead, "a channel's line did not come"},
    {ExtInfoError::RequestTooLong, "the request is too long"},
    {ExtInfoError::EndMarkerEarly, "the records end early"},
    {ExtInfoError::EndMarker, "no end marker"},
    {ExtInfoError::EndRead, "the end did not come"},
    {ExtInfoError::ScrambledLine, "a line cannot be decoded"},
};

template <typename Error>
const char* TextOf(std::span<const Row<Error>> rows, Error error) {
    for (const Row<Error>& row : rows) {
        if (row.error == error) {
            return row.text;
        }
    }
    return "no error";
}

}  // namespace

const char* ErrorText(ConcInfoError error) {
    return TextOf<ConcInfoError>(kConcInfo, error);
}

const char* ErrorText(DiskInfoError error) {
    return TextOf<DiskInfoError>(kDiskInfo, error);
}

const char* ErrorText(ExtInfoError error) {
    return TextOf<ExtInfoError>(kExtInfo, error);
}

}  // namespace kvmon
