#include "cameras/http_input.h"

#include <algorithm>
#include <utility>

#include <curl/curl.h>

#include "cameras/certificate_check.h"
#include "cameras/connect_fault.h"
#include "cameras/curl_handles.h"
#include "cameras/jpeg_walk.h"
#include "cameras/multipart_reader.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// The limit is looked at so often.
constexpr milliseconds kTransferLook{50};
constexpr long kFound = 200;

void SetUpLibrary() {
    static const CURLcode done = curl_global_init(CURL_GLOBAL_DEFAULT);
    static_cast<void>(done);
}

bool IsMultipart(const std::string& type) {
    return type.starts_with("multipart/");
}

}  // namespace

// One request at a time, and what has come of its reply.
class HttpInput::Transfer {
public:
    Transfer(const NetworkCamera& camera, const std::string& url, InputLimit& limit)
        : m_limit(limit), m_hasUser(!camera.user.empty()), m_check(camera.certificate) {
        SetUpLibrary();
        m_multi.reset(curl_multi_init());
        m_easy.reset(curl_easy_init());
        if (!m_multi || !m_easy) {
            throw CameraError(FaultCode::OutOfMemory);
        }
        Set(CURLOPT_URL, url.c_str());
        Set(CURLOPT_PROTOCOLS_STR, "http,https");
        Set(CURLOPT_PROXY, "");
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        Set(CURLOPT_USERAGENT, "kvrecorder");
        m_check.Watch(m_easy.get(), url);
        // A host's name that is being looked up is not waited for at the end.
        Set(CURLOPT_QUICK_EXIT, 1L);
        Set(CURLOPT_WRITEFUNCTION, &Transfer::TakeBody);
        Set(CURLOPT_WRITEDATA, this);
        Set(CURLOPT_HEADERFUNCTION, &Transfer::TakeHead);
        Set(CURLOPT_HEADERDATA, this);
        if (m_hasUser) {
            Set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC | CURLAUTH_DIGEST));
            Set(CURLOPT_USERNAME, camera.user.c_str());
            const std::string password(camera.password.View());
            Set(CURLOPT_PASSWORD, password.c_str());
        }
    }
    ~Transfer() { curl_multi_remove_handle(m_multi.get(), m_easy.get()); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // Asks, again if the reply before has ended, and waits for the reply's head and a bit of its body. Throws
    // CameraError for a reply that is no picture.
    void Ask() {
        curl_multi_remove_handle(m_multi.get(), m_easy.get());
        m_body.clear();
        m_done = false;
        if (curl_multi_add_handle(m_multi.get(), m_easy.get()) != CURLM_OK) {
            throw CameraError(FaultCode::OutOfMemory);
        }
        while (m_body.size() < 3 && !m_done) {
            Wait();
        }
        CheckHead();
    }

    // The reply's, or what its body looks like if that says nothing.
    const std::string& Type() const { return m_type; }
    const std::string& ContentType() const { return m_contentType; }
    bool Done() const { return m_done; }
    // What has come since.
    std::vector<std::uint8_t> TakeBytes() { return std::exchange(m_body, {}); }

    // Until something happens, at the most until the limit. Throws CameraError when the reply is cut.
    void Wait() {
        CheckLimit();
        int running = 0;
        curl_multi_perform(m_multi.get(), &running);
        CheckEnd();
        if (running > 0 && m_body.empty()) {
            curl_multi_poll(m_multi.get(), nullptr, 0, static_cast<int>(kTransferLook.count()), nullptr);
        }
    }
    void Sleep(Clock::time_point until) {
        while (Clock::now() < until) {
            CheckLimit();
            const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
            curl_multi_poll(m_multi.get(), nullptr, 0,
                            static_cast<int>(std::clamp(left, {}, kTransferLook).count()), nullptr);
        }
    }
    void NoteOpen() { m_open = true; }

private:
    template <typename Value>
    void Set(CURLoption option, Value value) {
        if (curl_easy_setopt(m_easy.get(), option, value) != CURLE_OK) {
            throw CameraError(FaultCode::OutOfMemory);
        }
    }

    static std::size_t TakeBody(const char* data, std::size_t, std::size_t size, void* self) {
        std::vector<std::uint8_t>& body = static_cast<Transfer*>(self)->m_body;
        if (body.size() + size > MultipartReader::kMostPart) {
            return 0;
        }
        try {
            body.insert(body.end(), data, data + size);
        } catch (const std::bad_alloc&) {
            return 0;
        }
        return size;
    }
    // Nothing is kept of it; the limit of its size is the library's.
    static std::size_t TakeHead(const char*, std::size_t, std::size_t size, void*) { return size; }

    void CheckLimit() const {
        if (m_limit.Ended()) {
            throw CameraError(FaultCode::Closed);
        }
        if (m_limit.IsOver()) {
            if (!m_open) {
                CheckStatus();  // it may have been told, and nothing after it
            }
            throw CameraError(m_open ? FaultCode::PicturesStopped : FaultCode::NoAnswer);
        }
    }

    void CheckEnd() {
        int left = 0;
        while (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left)) {
            if (message->msg == CURLMSG_DONE) {
                m_done = true;
                if (message->data.result != CURLE_OK) {
                    Fail(message->data.result);
                }
            }
        }
    }

    void CheckStatus() const {
        long status = 0;
        curl_easy_getinfo(m_easy.get(), CURLINFO_RESPONSE_CODE, &status);
        if (status == 401 || status == 403) {
            throw CameraError(m_hasUser ? FaultCode::LoginRefused : FaultCode::LoginWanted);
        }
        if (status == 404) {
            throw CameraError(FaultCode::PathUnknown);
        }
        if (status >= 300 && status < 400) {
            throw CameraError(FaultCode::LeadsElsewhere);
        }
        if (status != kFound && status != 0) {
            throw CameraError(FaultCode::PicturesRefused);
        }
    }

    void CheckHead() {
        CheckStatus();
        const char* type = nullptr;
        curl_easy_getinfo(m_easy.get(), CURLINFO_CONTENT_TYPE, &type);
        m_contentType = type ? type : "";
        m_type = MediaTypeOf(m_contentType);
        if (IsMultipart(m_type) || m_type == "image/jpeg" || m_type == "image/jpg") {
            return;
        }
        // Some call their pictures something else, or nothing.
        if (IsJpeg(m_body)) {
            m_type = "image/jpeg";
        } else if (m_type.empty() && m_body.size() >= 2 && m_body[0] == '-' && m_body[1] == '-') {
            m_type = "multipart/";
        } else if (m_body.empty()) {
            throw CameraError(FaultCode::NoPictures);
        } else {
            throw CameraError(m_type.empty()
                                  ? Fault(FaultCode::NotUnderstood)
                                  : Fault(FaultCode::TypeUnknown, {{"type", m_type.substr(0, 60)}}));
        }
    }

    [[noreturn]] void Fail(CURLcode error) const {
        m_check.ThrowIfRefused();
        if (const auto fault = ConnectFault(m_easy.get(), error)) {
            throw CameraError(*fault);
        }
        switch (error) {
            case CURLE_GOT_NOTHING:
            case CURLE_RECV_ERROR:
            case CURLE_SEND_ERROR:
            case CURLE_PARTIAL_FILE:
                throw CameraError(FaultCode::Closed);
            case CURLE_WRITE_ERROR:
            case CURLE_UNSUPPORTED_PROTOCOL:
            case CURLE_WEIRD_SERVER_REPLY:
            case CURLE_BAD_CONTENT_ENCODING:
            case CURLE_OUT_OF_MEMORY:  // most likely a head that is longer than the library takes
                throw CameraError(FaultCode::NotUnderstood);
            default:
                throw CameraError({FaultCode::CameraFailed, {{"reason", curl_easy_strerror(error)}}});
        }
    }

    InputLimit& m_limit;
    const bool m_hasUser;
    CertificateCheck m_check;
    MultiHandle m_multi;
    EasyHandle m_easy;
    std::vector<std::uint8_t> m_body;
    bool m_done = false;
    bool m_open = false;
    std::string m_contentType;
    std::string m_type;
};

HttpInput::HttpInput(const NetworkCamera& camera, const std::string& url, InputLimit& limit)
    : m_interval(camera.interval), m_transfer(std::make_unique<Transfer>(camera, url, limit)) {
    m_begun = Clock::now();
    m_transfer->Ask();
    m_transfer->NoteOpen();
    if (IsMultipart(m_transfer->Type())) {
        m_parts.emplace(BoundaryOf(m_transfer->ContentType()));
    }
}

HttpInput::~HttpInput() = default;

milliseconds HttpInput::Pause() const {
    return m_parts ? milliseconds{} : m_interval;
}

std::optional<CameraInput::Piece> HttpInput::Read() {
    return m_parts ? ReadPart() : ReadSingle();
}

std::optional<CameraInput::Piece> HttpInput::ReadPart() {
    while (true) {
        if (auto part = m_parts->Next()) {
            if (!IsJpeg(part->body)) {
                return std::nullopt;  // sound, or something else beside the pictures
            }
            m_picture = std::move(part->body);
            return Piece{nullptr, m_picture, INT64_MIN, false};
        }
        const auto bytes = m_transfer->TakeBytes();
        if (bytes.empty() && m_transfer->Done()) {
            throw CameraError(FaultCode::Closed);
        }
        m_parts->Add(bytes);
        if (bytes.empty()) {
            m_transfer->Wait();
        }
    }
}

std::optional<CameraInput::Piece> HttpInput::ReadSingle() {
    if (m_given) {
        m_transfer->Sleep(m_begun + m_interval);
        m_begun = Clock::now();
        m_transfer->Ask();
        if (IsMultipart(m_transfer->Type())) {
            throw CameraError(FaultCode::NotUnderstood);
        }
    }
    m_picture.clear();
    while (true) {
        const auto bytes = m_transfer->TakeBytes();
        m_picture.insert(m_picture.end(), bytes.begin(), bytes.end());
        if (m_picture.size() > MultipartReader::kMostPart) {
            throw CameraError(FaultCode::NotUnderstood);
        }
        if (bytes.empty() && m_transfer->Done()) {
            break;
        }
        if (bytes.empty()) {
            m_transfer->Wait();
        }
    }
    m_given = true;
    if (!IsJpeg(m_picture)) {
        throw CameraError(FaultCode::NotUnderstood);
    }
    return Piece{nullptr, m_picture, INT64_MIN, false};
}

}  // namespace kvrecorder
