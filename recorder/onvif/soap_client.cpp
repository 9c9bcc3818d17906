#include "onvif/soap_client.h"

#include <curl/curl.h>
#include <nettle/sha1.h>
#include <strings.h>

#include <array>
#include <ctime>
#include <mutex>
#include <random>

#include "media/base64.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kLargestReply = 512 << 10;
constexpr long kConnectMs = 3'000;
// How soon a call ends when it is to.
constexpr int kLookMs = 200;

std::string MakeNonce() {
    std::random_device source;
    std::string nonce;
    for (int i = 0; i < 16; ++i) {
        nonce.push_back(static_cast<char>(source()));
    }
    return nonce;
}

FaultCode FaultOf(CURLcode code) {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return FaultCode::HostUnknown;
        case CURLE_COULDNT_CONNECT:
            return FaultCode::OnvifNothingListens;
        case CURLE_OPERATION_TIMEDOUT:
            return FaultCode::OnvifNoAnswer;
        case CURLE_WRITE_ERROR:
            return FaultCode::OnvifTooLarge;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
            return FaultCode::NotEncrypted;
        case CURLE_OUT_OF_MEMORY:
            return FaultCode::OutOfMemory;
        default:
            return FaultCode::OnvifClosed;
    }
}

// Takes the answer's body, as far as it may be long, and whether the camera offers a digest.
void TakeAnswer(CURL* easy, std::string& body, bool& offersDigest) {
    ::curl_easy_setopt(
        easy, CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t, std::size_t count, void* data) {
            auto& taken = *static_cast<std::string*>(data);
            if (taken.size() + count > kLargestReply) {
                return std::size_t{0};
            }
            taken.append(bytes, count);
            return count;
        });
    ::curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
    ::curl_easy_setopt(
        easy, CURLOPT_HEADERFUNCTION, +[](char* bytes, std::size_t, std::size_t count, void* data) {
            constexpr std::string_view kOffer = "WWW-Authenticate: Digest";
            if (count >= kOffer.size() && ::strncasecmp(bytes, kOffer.data(), kOffer.size()) == 0) {
                *static_cast<bool*>(data) = true;
            }
            return count;
        });
    ::curl_easy_setopt(easy, CURLOPT_HEADERDATA, &offersDigest);
}

// What holds for every request.
void SetBounds(CURL* easy) {
    ::curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    // A camera that sends us elsewhere is not followed, and none is behind a proxy.
    ::curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    ::curl_easy_setopt(easy, CURLOPT_PROXY, "");
    ::curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    ::curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
    ::curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, kConnectMs);
}

}  // namespace

struct SoapClient::Http {
    Http() {
        static std::once_flag once;
        std::call_once(once, [] { ::curl_global_init(CURL_GLOBAL_ALL); });
        easy = ::curl_easy_init();
        multi = ::curl_multi_init();
        if (!easy || !multi) {
            throw CameraError(FaultCode::OutOfMemory);
        }
    }
    ~Http() {
        ::curl_easy_cleanup(easy);
        ::curl_multi_cleanup(multi);
    }
    Http(const Http&) = delete;
    Http& operator=(const Http&) = delete;

    CURL* easy = nullptr;
    CURLM* multi = nullptr;
};

SoapClient::SoapClient(std::string user, Secret password, std::string certificate,
                       std::function<bool()> ended)
    : m_user(std::move(user)),
      m_password(std::move(password)),
      m_ended(std::move(ended)),
      m_check(std::move(certificate)),
      m_http(std::make_unique<Http>()) {}

SoapClient::~SoapClient() = default;

std::string XmlTime(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text.data();
}

Secret MakeSecurityHeader(const std::string& user, const Secret& password, const std::string& nonce,
                          const std::string& created) {
    sha1_ctx context;
    ::nettle_sha1_init(&context);
    const auto add = [&](std::string_view text) {
        ::nettle_sha1_update(&context, text.size(), reinterpret_cast<const std::uint8_t*>(text.data()));
    };
    add(nonce);
    add(created);
    add(password.View());
    std::array<std::uint8_t, SHA1_DIGEST_SIZE> digest{};
    ::nettle_sha1_digest(&context, digest.size(), digest.data());
    const char* const kProfile =
        "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0#PasswordDigest";
    const char* const kBinary =
        "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-soap-message-security-1.0#Base64Binary";
    const char* const kSecurity =
        "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd";
    const char* const kUtility =
        "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd";
    return std::string("<wsse:Security s:mustUnderstand=\"1\" xmlns:wsse=\"") + kSecurity +
           "\" xmlns:wsu=\"" + kUtility + "\"><wsse:UsernameToken><wsse:Username>" + EscapeXml(user) +
           "</wsse:Username><wsse:Password Type=\"" + kProfile + "\">" +
           Base64Encode({reinterpret_cast<const char*>(digest.data()), digest.size()}) +
           "</wsse:Password><wsse:Nonce EncodingType=\"" + kBinary + "\">" + Base64Encode(nonce) +
           "</wsse:Nonce><wsu:Created>" + created + "</wsu:Created></wsse:UsernameToken></wsse:Security>";
}

std::string SoapClient::Envelope(const SoapRequest& request) const {
    std::string head = request.header;
    if (request.login && !m_user.empty() && !m_digest) {
        head += MakeSecurityHeader(m_user, m_password, MakeNonce(),
                                   XmlTime(std::chrono::system_clock::now() + m_ahead))
                    .View();
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><s:Envelope "
           "xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
           "xmlns:wsa=\"http://www.w3.org/2005/08/addressing\" "
           "xmlns:tt=\"http://www.onvif.org/ver10/schema\"><s:Header>" +
           head + "</s:Header><s:Body>" + request.body + "</s:Body></s:Envelope>";
}

SoapClient::Answer SoapClient::Post(const SoapRequest& request) {
    CURL* const easy = m_http->easy;
    ::curl_easy_reset(easy);  // open connections stay
    Answer answer;
    const std::string envelope = Envelope(request);
    ::curl_easy_setopt(easy, CURLOPT_URL, request.address.c_str());
    SetBounds(easy);
    m_check.Watch(easy, request.address);
    ::curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(request.limit.count()));
    ::curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(envelope.size()));
    ::curl_easy_setopt(easy, CURLOPT_POSTFIELDS, envelope.c_str());
    const std::string type =
        "Content-Type: application/soap+xml; charset=utf-8; action=\"" + request.action + "\"";
    curl_slist* headers = ::curl_slist_append(nullptr, type.c_str());
    // Some cameras know nothing of waiting for a go-ahead.
    headers = ::curl_slist_append(headers, "Expect:");
    const std::unique_ptr<curl_slist, void (*)(curl_slist*)> keep(headers, ::curl_slist_free_all);
    ::curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    if (m_digest && request.login) {
        ::curl_easy_setopt(easy, CURLOPT_HTTPAUTH, CURLAUTH_DIGEST);
        ::curl_easy_setopt(easy, CURLOPT_USERNAME, m_user.c_str());
        std::string password(m_password.View());
        ::curl_easy_setopt(easy, CURLOPT_PASSWORD, password.c_str());
        Wipe(password);
    }
    TakeAnswer(easy, answer.body, answer.offersDigest);
    ::curl_multi_add_handle(m_http->multi, easy);
    CURLcode outcome = CURLE_ABORTED_BY_CALLBACK;
    for (int running = 1; running > 0 && !m_ended();) {
        if (::curl_multi_perform(m_http->multi, &running) != CURLM_OK) {
            break;
        }
        int left = 0;
        while (const CURLMsg* const message = ::curl_multi_info_read(m_http->multi, &left)) {
            if (message->msg == CURLMSG_DONE) {
                outcome = message->data.result;
            }
        }
        if (running > 0) {
            ::curl_multi_poll(m_http->multi, nullptr, 0, kLookMs, nullptr);
        }
    }
    ::curl_multi_remove_handle(m_http->multi, easy);
    if (outcome != CURLE_OK) {
        m_check.ThrowIfRefused();
        throw CameraError(FaultOf(outcome));
    }
    ::curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &answer.status);
    return answer;
}

void SoapClient::FailLogin() const {
    throw LoginError(m_user.empty() ? FaultCode::LoginWanted : FaultCode::LoginRefused);
}

std::unique_ptr<SoapDocument> SoapClient::Call(const SoapRequest& request) {
    Answer answer = Post(request);
    if (answer.status == 401 && answer.offersDigest && !m_digest && !m_user.empty() && request.login) {
        m_digest = true;
        answer = Post(request);
    }
    const bool good = answer.status >= 200 && answer.status < 300;
    std::unique_ptr<SoapDocument> document;
    try {
        document = std::make_unique<SoapDocument>(answer.body);
        document->Body();
    } catch (const SoapFault& fault) {
        // Faults come with any status.
        if (fault.IsLogin()) {
            FailLogin();
        }
        throw;
    } catch (const CameraError&) {
        if (good) {
            throw;
        }
    }
    if (answer.status == 401 || answer.status == 403) {
        FailLogin();
    }
    if (!good) {
        throw CameraError({FaultCode::OnvifStatus, {{"status", answer.status}}});
    }
    return document;
}

}  // namespace kvrecorder
