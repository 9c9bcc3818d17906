#include "media/opened_file.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string_view>

namespace kvrecorder {
namespace {

// Formats that name other files to be read, some of which wait for these to grow.
constexpr std::string_view kLists[] = {"hls", "concat", "concatf", "dash", "imf", "sdp", "rtsp"};

const AVInputFormat* FormatOf(const std::string& url, const std::string& path) {
    AVIOContext* opened = nullptr;
    if (const int error = avio_open(&opened, url.c_str(), AVIO_FLAG_READ); error < 0) {
        throw std::runtime_error("cannot read " + path + ": " + AvErrorText(error));
    }
    const AVInputFormat* kind = nullptr;
    const int error = av_probe_input_buffer2(opened, &kind, path.c_str(), nullptr, 0, 0);
    avio_closep(&opened);
    if (error < 0 || !kind) {
        throw std::runtime_error("cannot read " + path + ": it is of no known kind");
    }
    const std::string_view names = kind->name;
    const std::string_view first = names.substr(0, names.find(','));
    if (std::find(std::begin(kLists), std::end(kLists), first) != std::end(kLists)) {
        throw std::runtime_error("cannot play " + path + ": it is a list of other files");
    }
    return kind;
}

// Pipes and devices could block the threads that serve all channels.
void CheckPlainFile(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        throw std::runtime_error("cannot read " + path + ": there is no such file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw std::runtime_error("cannot read " + path + ": it is not a plain file");
    }
}

AvPtr<AVFormatContext> OpenFormat(const std::string& path) {
    const std::string url = "file:" + path;
    // Known kinds only, and nothing in the file leads elsewhere than to files.
    const AVInputFormat* const kind = FormatOf(url, path);
    AVFormatContext* opened = nullptr;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    const int opening = avformat_open_input(&opened, url.c_str(), kind, &options);
    av_dict_free(&options);
    if (opening < 0) {
        throw std::runtime_error("cannot read " + path + ": " + AvErrorText(opening));
    }
    AvPtr<AVFormatContext> file(opened);
    if (const int found = avformat_find_stream_info(file.get(), nullptr); found < 0) {
        throw std::runtime_error("cannot read " + path + ": " + AvErrorText(found));
    }
    return file;
}

AVStream* FindPictures(AVFormatContext& file, const std::string& path) {
    const int best = av_find_best_stream(&file, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    // The cover of a piece of music is no film.
    if (best < 0 || (file.streams[best]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
        throw std::runtime_error("cannot play " + path + ": there are no pictures in it");
    }
    for (unsigned i = 0; i < file.nb_streams; ++i) {
        file.streams[i]->discard = static_cast<int>(i) == best ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    return file.streams[best];
}

AvPtr<AVBSFContext> OpenFilter(const AVStream& pictures, const std::string& path) {
    const AVCodecID codec = pictures.codecpar->codec_id;
    const char* const name = codec == AV_CODEC_ID_H264    ? "h264_mp4toannexb"
                             : codec == AV_CODEC_ID_MPEG4 ? "mpeg4_unpack_bframes"
                                                          : nullptr;
    if (!name) {
        return {};
    }
    AVBSFContext* opened = nullptr;
    const AVBitStreamFilter* const kind = av_bsf_get_by_name(name);
    if (!kind || av_bsf_alloc(kind, &opened) < 0) {
        throw std::runtime_error(std::string("the filter ") + name + " is not to be had");
    }
    AvPtr<AVBSFContext> filter(opened);
    filter->time_base_in = pictures.time_base;
    if (avcodec_parameters_copy(filter->par_in, pictures.codecpar) < 0 || av_bsf_init(filter.get()) < 0) {
        throw std::runtime_error("cannot play " + path + ": the headers of its pictures are damaged");
    }
    return filter;
}

}  // namespace

OpenedFile OpenFile(const std::string& path) {
    CheckPlainFile(path);
    OpenedFile opened;
    opened.file = OpenFormat(path);
    opened.pictures = FindPictures(*opened.file, path);
    if (opened.pictures->codecpar->width < 1 || opened.pictures->codecpar->height < 1) {
        throw std::runtime_error("cannot play " + path + ": its pictures have no size");
    }
    opened.filter = OpenFilter(*opened.pictures, path);
    return opened;
}

}  // namespace kvrecorder
