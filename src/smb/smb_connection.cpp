#include "smb/smb_connection.h"

#include <libsmbclient.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kvmon {

namespace {

void CopyText(const std::string& text, char* buffer, int size) {
    if (size <= 0) {
        return;
    }
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

void GiveCredential(SMBCCTX* context, const char*, const char*, char* domain, int domainSize, char* user,
                    int userSize, char* password, int passwordSize) {
    const auto* const request = static_cast<const ShareRequest*>(smbc_getOptionUserData(context));
    // The user's own configuration names the domain otherwise.
    if (!request->domain.empty()) {
        CopyText(request->domain, domain, domainSize);
    }
    CopyText(request->user, user, userSize);
    CopyText(request->password, password, passwordSize);
}

bool HasFolder(const std::string& url) {
    constexpr std::ptrdiff_t kHostAndShare = 3;  // strokes of smb://host/share
    return std::count(url.begin(), url.end(), '/') > kHostAndShare;
}

int ResultOf(int error, const std::string& url) {
    switch (error) {
        case EACCES:
        case EPERM:
            return kShareLoginRefused;
        case ENOENT:
        case ENODEV:
            return HasFolder(url) ? kShareNoSuchFolder : kShareNoSuchShare;
        case ENOTDIR:
            return kShareNoFolder;
        case EINVAL:  // what the library says for a host that it does not find
        case ECONNREFUSED:
        case ECONNRESET:
        case EHOSTDOWN:
        case EHOSTUNREACH:
        case ENETUNREACH:
        case ENETDOWN:
            return kShareNoSuchHost;
        case ETIMEDOUT:
            return kShareTimedOut;
        default:
            return kShareNetworkFailed;
    }
}

}  // namespace

int OpenSmbConnection(const ShareRequest& request, int timeoutMs, std::uint16_t port) {
    SMBCCTX* const context = smbc_new_context();
    if (context == nullptr) {
        return kShareNetworkFailed;
    }
    smbc_setDebug(context, 0);
    smbc_setTimeout(context, timeoutMs);
    smbc_setOptionUserData(context, const_cast<ShareRequest*>(&request));
    smbc_setFunctionAuthDataWithContext(context, GiveCredential);
    // These credentials and no others: neither a ticket of the user's nor, when they are wrong, a guest's.
    smbc_setOptionUseKerberos(context, 0);
    smbc_setOptionUseCCache(context, 0);
    smbc_setOptionNoAutoAnonymousLogin(context, 1);
    if (port != 0) {
        smbc_setPort(context, port);
    }
    if (smbc_init_context(context) == nullptr) {
        return kShareNetworkFailed;
    }
    struct stat status {};
    if (smbc_getFunctionStat(context)(context, request.url.c_str(), &status) != 0) {
        return ResultOf(errno, request.url);
    }
    return S_ISDIR(status.st_mode) ? kShareConnected : kShareNoFolder;
}

}  // namespace kvmon
