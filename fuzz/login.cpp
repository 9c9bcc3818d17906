// A whole login at a recorder that answers as it likes: the list of channels, their states, the extensions,
// the notification connection and what its lines ask for, up to the published status; then what the channels
// can do, the recorder's clock and the farewell. The first byte says which of these.
//
// The rest are the recorder's answers, one a connection, parted by two bytes of 0xFE. An answer's first byte
// is how it is sent, the second whether its bytes follow as they are or as changes of the answer that would
// be right: a place of two bytes, what is done there, how much, and the bytes for it. When there are no more
// the user stops.
#include <iterator>

#include "fuzz_input.h"
#include "platform/text.h"
#include "script_socket.h"
#include "server/documents/server_documents.h"
#include "server/http/capability_reader.h"
#include "server/http/server_requests.h"
#include "server/server_thread.h"
#include "support/recorder_texts.h"

using namespace kvmon;
using kvfuzz::Check;

namespace {

// A list of one is read as any, and in a third of the time of three.
constexpr int kListed = 1;
constexpr int kChannels = 3;
constexpr std::size_t kMostAnswers = 40;
constexpr std::string_view kBetween = "\xFE\xFE";

const std::string& RightAnswer(std::string_view request) {
    static const std::string ok = "HTTP/1.0 200 OK\r\nX: y\r\n\r\n";
    static const struct {
        std::string_view key;
        std::string reply;
    } answers[] = {
        {"get_init_info.cgi", kvtest::ConcInfo(kListed)},
        {"z_status.cgi", kvtest::DiskInfo(kListed)},
        {"get_ext_info.cgi", kvtest::ExtInfo(kListed)},
        {"notify.cgi", ok + "1\n2\n\n3\n"},
        {"getmultistreaminfo.cgi",
         ok +
             "<?xml version=\"1.0\"?><info><return>0</return><ch0><stream_no>2</stream_no><stream0><id>0</id>"
             "<fcc>H264</fcc><resolution>4</resolution></stream0><stream1><id>1</id><fcc>MJPG</fcc>"
             "<resolution>1</resolution></stream1></ch0></info>"},
        {"zcapabilities.cgi", ok + "<r><return>0</return><ch1><audio_out>1</audio_out><audio_out_type>2</"
                                   "audio_out_type></ch1></r>"},
        {"param.cgi", ok + "<date_time>\n20240102030405\n"},
        {"logout.cgi", ok + "\n\n"},
    };
    for (const auto& answer : answers) {
        if (request.find(answer.key) != std::string_view::npos) {
            return answer.reply;
        }
    }
    return ok;
}

std::string Changed(std::string answer, kvfuzz::Input changes) {
    while (!changes.IsAtEnd()) {
        const std::size_t at = changes.Number(2) % (answer.size() + 1);
        const std::uint8_t what = changes.Byte();
        const std::size_t count = changes.Byte();
        switch (what % 5) {
            case 0: {
                const std::string bytes = changes.Text(count % 32);
                answer.replace(at, std::min(bytes.size(), answer.size() - at), bytes);
                break;
            }
            case 1:
                answer.insert(at, changes.Text(count % 32));
                break;
            case 2:
                answer.erase(at, count);
                break;
            case 3:
                answer.insert(at, answer.substr(at, count));
                break;
            default:
                answer.resize(at);
        }
    }
    return answer;
}

// The answers, one after the other, and the stop behind the last one.
class Recorder {
public:
    explicit Recorder(std::string_view answers) : m_rest(answers) {
        peer.refuses = [this] {
            if (m_rest.empty() || ++m_count > kMostAnswers) {
                worker.RequestStop();
                return true;
            }
            return false;
        };
        worker.SetConnectInfo(0, "127.0.0.1", 80, "viewer", "pw");
        worker.PrepareStart();
    }

    kvfuzz::StepClock clock;
    kvfuzz::ScriptPeer peer{[this](std::string_view request) { return Next(request); }};
    ServerWorker worker{clock, peer.Maker()};

private:
    kvfuzz::Script Next(std::string_view request) {
        const std::size_t length = std::min(m_rest.find(kBetween), m_rest.size());
        kvfuzz::Input input(reinterpret_cast<const std::uint8_t*>(m_rest.data()), length);
        m_rest.remove_prefix(std::min(length + kBetween.size(), m_rest.size()));
        kvfuzz::Script script;
        script.SetManner(input.Byte());
        const bool plain = (input.Byte() & 1) != 0;
        script.bytes = plain ? input.RestText() : Changed(RightAnswer(request), kvfuzz::Input(input.Rest()));
        return script;
    }

    std::string_view m_rest;
    std::size_t m_count = 0;
};

void CheckStatus(const CNvrStatus& status) {
    Check(status.m_VideoSettingList.size() <= kMaxChannels);
    Check(status.m_nChannelCount >= 0 && status.m_nChannelCount < kMaxChannels);
    Check(IsValidUtf8(status.m_strServerName) && IsValidUtf8(status.strServerVersion));
    for (const CVideoSetting& setting : status.m_VideoSettingList) {
        Check(IsValidUtf8(setting.m_strChannelName) && Utf16Length(setting.m_strChannelName) <= 1024);
        Check(setting.m_nCh >= 0 && setting.m_nCh < kMaxChannels);
        Check(setting.m_StreamInfo.size() <= static_cast<std::size_t>(kMaxStreams));
    }
}

void LogIn(Recorder& recorder) {
    GetKelvaraInfoFunc(recorder.worker);
    recorder.worker.WithStatus(CheckStatus);
}

void AskForAbilities(Recorder& recorder) {
    CNvrStatus status;
    status.strServerVersion = "3.5.0";
    status.m_nChannelCount = kChannels;
    status.m_VideoSettingList.resize(kChannels);
    CapabilityReader reader(recorder.worker.Query());
    reader.GetStreamInfo(status);
    reader.GetTalking(status);
    CheckStatus(status);
    // Merged as a round is, and published beside a list of another length.
    recorder.worker.SetRoundGood(true);
    recorder.worker.UpdateServerInfo(status);
    recorder.worker.PublishCapabilities(status);
    recorder.worker.WithStatus([&](const CNvrStatus& published) {
        CheckStatus(published);
        for (std::size_t i = 0; i < kChannels; ++i) {
            Check(published.m_VideoSettingList[i].Capabilities() ==
                  status.m_VideoSettingList[i].Capabilities());
        }
    });
    status.m_VideoSettingList.resize(1);
    recorder.worker.ApplyCapabilities(status);
    recorder.worker.UpdateServerInfo(status);
    recorder.worker.WithStatus(CheckStatus);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvfuzz::Input input(data, size);
    const std::uint8_t what = input.Byte();
    const std::string answers = input.RestText();
    Recorder recorder(answers);
    switch (what % 4) {
        case 0:
            AskForAbilities(recorder);
            break;
        case 1:
            ReadServerTimeOffset(recorder.worker.Query());
            LogoutServer(recorder.worker.Query());
            break;
        default:
            LogIn(recorder);
    }
    return 0;
}
