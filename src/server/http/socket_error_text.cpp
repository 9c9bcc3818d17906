#include "server/http/socket_error_text.h"

namespace kvmon {

namespace {

struct Row {
    std::uint32_t code;
    const char* text;
};

constexpr Row kRows[] = {
    {10000, "[0] No Error"},
    {10004, "[10004] Interrupted system call"},
    {10009, "[10009] Bad file number"},
    {10013, "[10013] Permission denied"},
    {10014, "[10014] Bad address"},
    {10022, "[10022] Invalid argument"},
    {10024, "[10024] Too many open files"},
    {10035, "[10035] Operation would block"},
    {10036, "[10036] Operation now in progress"},
    {10037, "[10037] Operation already in progress"},
    {10038, "[10038] Socket operation on non-socket"},
    {10039, "[10039] Destination address required"},
    {10040, "[10040] Message too long"},
    {10041, "[10041] Protocol wrong type for socket"},
    {10042, "[10042] Bad protocol option"},
    {10043, "[10043] Protocol not supported"},
    {10044, "[10044] Socket type not supported"},
    {10045, "[10045] Operation not supported on socket"},
    {10046, "[10046] Protocol family not supported"},
    {10047, "[10047] Address family not supported by protocol family"},
    {10048, "[10048] Address already in use"},
    {10049, "[10049] Can't assign requested address"},
    {10050, "[10050] Network is down"},
    {10051, "[10051] Network is unreachable"},
    {10052, "[10052] Net dropped connection or reset"},
    {10053, "[10053] Software caused connection abort"},
    {10054, "[10054] Connection reset by peer"},
    {10055, "[10055] No buffer space available"},
    {10056, "[10056] Socket is already connected"},
    {10057, "[10057] Socket is not connected"},
    {10058, "[10058] Can't send after socket shutdown"},
    {10059, "[10059] Too many references, can't splice"},
    {10060, "[10060] Connection timed out"},
    {10061, "[10061] Connection refused"},
    {10062, "[10062] Too many levels of symbolic links"},
    {10063, "[10063] File name too long"},
    {10064, "[10064] Host is down"},
    {10065, "[10065] No Route to Host"},
    {10066, "[10066] Directory not empty"},
    {10067, "[10067] Too many processes"},
    {10068, "[10068] Too many users"},
    {10069, "[10069] Disc Quota Exceeded"},
    {10070, "[10070] Stale NFS file handle"},
    {10071, "[10071] Too many levels of remote in path"},
    {10091, "[10091] Network SubSystem is unavailable"},
    {10092, "[10092] WINSOCK DLL Version out of range"},
    {10093, "[10093] Successful WSASTARTUP not yet performed"},
    {11001, "[11001] Host not found"},
    {11002, "[11002] Non-Authoritative Host not found"},
    {11003, "[11003] Non-Recoverable errors: FORMERR, REFUSED, NOTIMP"},
    {11004, "[11004] Valid name, no data record of requested"},
};

}  // namespace

const char* SocketErrorText(std::uint32_t code) {
    for (const Row& row : kRows) {
        if (row.code == code) {
            return row.text;
        }
    }
    return kRows[0].text;
}

}  // namespace kvmon
