// Of the libraries for pictures and the database: what our code calls, told without their headers.
#include "torture/faults.h"

namespace {
constexpr int kNoMemory = -12;
constexpr int kDatabaseNoMemory = 7;
constexpr int kDatabaseIo = 10;
constexpr int kDatabaseFull = 13;
constexpr int kDatabaseCantOpen = 14;
}  // namespace

#define MAKES(NAME, PARAMETERS, ARGUMENTS) \
    TORTURE_CALL(Media, void*, NAME, PARAMETERS, ARGUMENTS, return nullptr)
#define DOES(NAME, PARAMETERS, ARGUMENTS) \
    TORTURE_CALL(Media, int, NAME, PARAMETERS, ARGUMENTS, return kNoMemory)

MAKES(av_mallocz, (unsigned long size), (size))
MAKES(av_frame_alloc, (), ())
MAKES(av_packet_alloc, (), ())
MAKES(avcodec_alloc_context3, (const void* codec), (codec))
MAKES(avcodec_find_decoder, (int code), (code))
MAKES(avcodec_find_encoder_by_name, (const char* name), (name))
MAKES(av_bsf_get_by_name, (const char* name), (name))
MAKES(avformat_new_stream, (void* to, const void* codec), (to, codec))
DOES(av_bsf_alloc, (const void* filter, void** to), (filter, to))
DOES(av_bsf_init, (void* filter), (filter))
DOES(av_bsf_send_packet, (void* filter, void* packet), (filter, packet))
DOES(av_bsf_receive_packet, (void* filter, void* packet), (filter, packet))
DOES(av_dict_set, (void** to, const char* key, const char* value, int flags), (to, key, value, flags))
DOES(av_opt_set, (void* of, const char* name, const char* value, int flags), (of, name, value, flags))
DOES(av_frame_get_buffer, (void* frame, int align), (frame, align))
DOES(av_frame_make_writable, (void* frame), (frame))
DOES(av_new_packet, (void* packet, int size), (packet, size))
DOES(av_packet_copy_props, (void* to, const void* from), (to, from))
DOES(avcodec_parameters_copy, (void* to, const void* from), (to, from))
DOES(avcodec_parameters_to_context, (void* to, const void* from), (to, from))
DOES(avcodec_open2, (void* context, const void* codec, void** options), (context, codec, options))
DOES(avcodec_send_packet, (void* context, const void* packet), (context, packet))
DOES(avcodec_receive_frame, (void* context, void* frame), (context, frame))
DOES(avcodec_send_frame, (void* context, const void* frame), (context, frame))
DOES(avcodec_receive_packet, (void* context, void* packet), (context, packet))
DOES(avformat_alloc_output_context2, (void** to, const void* form, const char* name, const char* file),
     (to, form, name, file))
DOES(avformat_open_input, (void** to, const char* url, const void* form, void** options),
     (to, url, form, options))
DOES(avformat_find_stream_info, (void* of, void** options), (of, options))
DOES(avformat_write_header, (void* to, void** options), (to, options))
DOES(avio_open, (void** to, const char* url, int flags), (to, url, flags))
DOES(av_find_best_stream, (void* of, int type, int wanted, int related, const void** decoder, int flags),
     (of, type, wanted, related, decoder, flags))
DOES(av_read_frame, (void* of, void* packet), (of, packet))
DOES(av_seek_frame, (void* of, int stream, long at, int flags), (of, stream, at, flags))
DOES(av_write_frame, (void* to, void* packet), (to, packet))
DOES(av_write_trailer, (void* to), (to))
DOES(sws_scale,
     (void* with, const void* from, const int* strides, int top, int height, void* to, const int* toStrides),
     (with, from, strides, top, height, to, toStrides))
// Lets go of the old one before it makes another.
TORTURE_CALL(Media, void*, sws_getCachedContext,
             (void* old, int width, int height, int form, int toWidth, int toHeight, int toForm, int flags,
              void* before, void* behind, const double* parameters),
             (old, width, height, form, toWidth, toHeight, toForm, flags, before, behind, parameters),
             reinterpret_cast<void (*)(void*)>(torture::FindNext("sws_freeContext"))(old);
             return nullptr)

#define DATABASE(NAME, PARAMETERS, ARGUMENTS, CODE) \
    TORTURE_CALL(Database, int, NAME, PARAMETERS, ARGUMENTS, return CODE)

TORTURE_CALL(Database, int, sqlite3_open_v2, (const char* path, void** to, int flags, const char* system),
             (path, to, flags, system), *to = nullptr;
             return kDatabaseCantOpen)
DATABASE(sqlite3_exec, (void* in, const char* text, void* each, void* with, char** error),
         (in, text, each, with, error), kDatabaseIo)
DATABASE(sqlite3_prepare_v2, (void* in, const char* text, int size, void** to, const char** rest),
         (in, text, size, to, rest), kDatabaseNoMemory)
DATABASE(sqlite3_step, (void* statement), (statement), kDatabaseFull)
DATABASE(sqlite3_bind_text, (void* statement, int place, const char* text, int size, void (*end)(void*)),
         (statement, place, text, size, end), kDatabaseNoMemory)
DATABASE(sqlite3_bind_int64, (void* statement, int place, long value), (statement, place, value),
         kDatabaseNoMemory)
TORTURE_CALL(Database, const void*, sqlite3_column_blob, (void* statement, int column), (statement, column),
             return nullptr)
