// rtsp_camera [--udp-alone] [--hear pcmu FILE | --hear pcma FILE] [--tls CERTIFICATE_AND_KEY]
//             [--digest USER PASSWORD | --basic USER PASSWORD] PATH PIPELINE [PATH PIPELINE ...]
// Serves pipelines on a loopback port of the system's choice and prints it. Reads commands from standard
// input: "drop" closes all sessions, "size" makes the pictures behind an element called "size" smaller; at
// its end the program ends. Of the packets of a payloader called "pay0" with an element called "lossy" before
// it each fifteenth is lost. A camera that hears offers a way back, and writes the samples that are said to
// it to the file. With a certificate all goes by TLS.
#include <gst/rtsp-server/rtsp-server.h>
// Its headers do not say by themselves that they are of C.
extern "C" {
#include <gst/rtsp-server/rtsp-onvif-server.h>
}

#include <iostream>
#include <string>
#include <vector>

namespace {

bool SetCertificate(GstRTSPAuth* auth, const char* file) {
    GError* error = nullptr;
    GTlsCertificate* const certificate = g_tls_certificate_new_from_file(file, &error);
    if (!certificate) {
        std::cerr << error->message << std::endl;
        return false;
    }
    gst_rtsp_auth_set_tls_certificate(auth, certificate);
    g_object_unref(certificate);
    return true;
}

void SetLogin(GstRTSPAuth* auth, bool digest, const char* user, const char* password) {
    GstRTSPToken* const token =
        gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, "viewer", nullptr);
    if (digest) {
        gst_rtsp_auth_set_supported_methods(auth, GST_RTSP_AUTH_DIGEST);
        gst_rtsp_auth_add_digest(auth, user, password, token);
    } else {
        gchar* const basic = gst_rtsp_auth_make_basic(user, password);
        gst_rtsp_auth_add_basic(auth, basic, token);
        g_free(basic);
    }
    gst_rtsp_token_unref(token);
}

// Who says no name may watch all the same.
void LetAllIn(GstRTSPAuth* auth) {
    GstRTSPToken* const token =
        gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, "viewer", nullptr);
    gst_rtsp_auth_set_default_token(auth, token);
    gst_rtsp_token_unref(token);
}

GstElement* Find(GstElement* pipeline, const char* name) {
    return gst_bin_get_by_name_recurse_up(GST_BIN(pipeline), name);
}

bool IsLost() {
    static int packets = 0;
    return ++packets % 15 == 0;
}

// They come one by one or in lists.
GstPadProbeReturn LosePacket(GstPad*, GstPadProbeInfo* info, gpointer) {
    if ((info->type & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
        return IsLost() ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
    }
    GstBufferList* const list = gst_buffer_list_make_writable(GST_PAD_PROBE_INFO_BUFFER_LIST(info));
    for (guint i = gst_buffer_list_length(list); i > 0; --i) {
        if (IsLost()) {
            gst_buffer_list_remove(list, i - 1, 1);
        }
    }
    GST_PAD_PROBE_INFO_DATA(info) = list;
    return GST_PAD_PROBE_OK;
}

std::vector<GstElement*> sizes;

void Configure(GstRTSPMediaFactory*, GstRTSPMedia* media, gpointer) {
    GstElement* const pipeline = gst_rtsp_media_get_element(media);
    if (GstElement* const size = Find(pipeline, "size")) {
        sizes.push_back(size);
    }
    if (GstElement* const lossy = Find(pipeline, "lossy")) {
        GstElement* const payloader = Find(pipeline, "pay0");
        GstPad* const pad = gst_element_get_static_pad(payloader, "src");
        gst_pad_add_probe(
            pad, static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_BUFFER_LIST),
            LosePacket, nullptr, nullptr);
        gst_object_unref(pad);
        gst_object_unref(payloader);
        gst_object_unref(lossy);
    }
    gst_object_unref(pipeline);
}

// Some encoder's pictures have no times: an element that is called "stamp" gives them theirs.
void StampPictures(GstRTSPMediaFactory*, GstRTSPMedia* media, gpointer) {
    GstElement* const pipeline = gst_rtsp_media_get_element(media);
    GstElement* const stamp = gst_bin_get_by_name_recurse_up(GST_BIN(pipeline), "stamp");
    if (stamp) {
        GstPad* const pad = gst_element_get_static_pad(stamp, "src");
        gst_pad_add_probe(
            pad, GST_PAD_PROBE_TYPE_BUFFER,
            [](GstPad* at, GstPadProbeInfo* info, gpointer) {
                GstBuffer* const buffer = gst_buffer_make_writable(GST_PAD_PROBE_INFO_BUFFER(info));
                GstElement* const element = gst_pad_get_parent_element(at);
                GST_BUFFER_PTS(buffer) = gst_element_get_current_running_time(element);
                gst_object_unref(element);
                GST_PAD_PROBE_INFO_DATA(info) = buffer;
                return GST_PAD_PROBE_OK;
            },
            nullptr, nullptr);
        gst_object_unref(pad);
        gst_object_unref(stamp);
    }
    gst_object_unref(pipeline);
}

// Decodes what is said.
std::string EarOf(const std::string& law, const std::string& file) {
    const bool aLaw = law == "pcma";
    return std::string("( capsfilter caps=\"application/x-rtp,media=audio,clock-rate=8000,payload=") +
           (aLaw ? "8,encoding-name=PCMA" : "0,encoding-name=PCMU") + "\" name=depay_backchannel ! rtp" +
           law + "depay ! " + (aLaw ? "alawdec" : "mulawdec") +
           " ! filesink async=false sync=false buffer-mode=unbuffered location=" + file + " )";
}

GstRTSPMediaFactory* MakeFactory(const std::string& ear) {
    if (ear.empty()) {
        return gst_rtsp_media_factory_new();
    }
    GstRTSPMediaFactory* const factory = gst_rtsp_onvif_media_factory_new();
    gst_rtsp_onvif_media_factory_set_backchannel_launch(GST_RTSP_ONVIF_MEDIA_FACTORY(factory), ear.c_str());
    gst_rtsp_media_factory_set_media_gtype(factory, GST_TYPE_RTSP_ONVIF_MEDIA);
    return factory;
}

void AddPath(GstRTSPServer* server, const char* path, const char* pipeline, bool login,
             const std::string& ear, bool udpAlone) {
    GstRTSPMediaFactory* const factory = MakeFactory(ear);
    if (udpAlone) {
        gst_rtsp_media_factory_set_protocols(factory, GST_RTSP_LOWER_TRANS_UDP);
    }
    gst_rtsp_media_factory_set_launch(factory, pipeline);
    // The library ends the process when two begin to play shared pictures at the same moment. What is heard
    // goes to one file, so that is shared.
    gst_rtsp_media_factory_set_shared(factory, !ear.empty());
    gst_rtsp_media_factory_set_latency(factory, 0);
    g_signal_connect(factory, "media-configure", G_CALLBACK(StampPictures), nullptr);
    g_signal_connect(factory, "media-configure", G_CALLBACK(Configure), nullptr);
    if (login) {
        gst_rtsp_media_factory_add_role(factory, "viewer", GST_RTSP_PERM_MEDIA_FACTORY_ACCESS, G_TYPE_BOOLEAN,
                                        TRUE, GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT, G_TYPE_BOOLEAN, TRUE,
                                        nullptr);
    }
    GstRTSPMountPoints* const mounts = gst_rtsp_server_get_mount_points(server);
    gst_rtsp_mount_points_add_factory(mounts, path, factory);
    g_object_unref(mounts);
}

struct Camera {
    GstRTSPServer* server;
    GMainLoop* loop;
};

gboolean OnCommand(GIOChannel* channel, GIOCondition, gpointer data) {
    const auto* const camera = static_cast<Camera*>(data);
    gchar* line = nullptr;
    if (g_io_channel_read_line(channel, &line, nullptr, nullptr, nullptr) != G_IO_STATUS_NORMAL) {
        g_main_loop_quit(camera->loop);
        return FALSE;
    }
    if (std::string(line) == "size\n") {
        GstCaps* const caps = gst_caps_from_string("video/x-raw,width=160,height=120");
        for (GstElement* const size : sizes) {
            g_object_set(size, "caps", caps, nullptr);
        }
        gst_caps_unref(caps);
    }
    if (std::string(line) == "drop\n") {
        gst_rtsp_server_client_filter(
            camera->server,
            [](GstRTSPServer*, GstRTSPClient* client, gpointer) {
                gst_rtsp_client_close(client);
                return GST_RTSP_FILTER_REMOVE;
            },
            nullptr);
    }
    g_free(line);
    return TRUE;
}

}  // namespace

int main(int argc, char** argv) {
    gst_init(nullptr, nullptr);
    int next = 1;
    const bool udpAlone = argc > next && std::string(argv[next]) == "--udp-alone";
    next += udpAlone ? 1 : 0;
    std::string ear;
    if (argc > next + 2 && std::string(argv[next]) == "--hear") {
        ear = EarOf(argv[next + 1], argv[next + 2]);
        next += 3;
    }
    Camera camera{ear.empty() ? gst_rtsp_server_new() : gst_rtsp_onvif_server_new(),
                  g_main_loop_new(nullptr, FALSE)};
    gst_rtsp_server_set_address(camera.server, "127.0.0.1");
    gst_rtsp_server_set_service(camera.server, "0");
    bool login = false;
    GstRTSPAuth* const auth = gst_rtsp_auth_new();
    if (argc > next + 1 && std::string(argv[next]) == "--tls") {
        login = true;
        if (!SetCertificate(auth, argv[next + 1])) {
            return 1;
        }
        LetAllIn(auth);
        next += 2;
    }
    if (argc > next + 2 && std::string(argv[next]).starts_with("--")) {
        login = true;
        gst_rtsp_auth_set_default_token(auth, nullptr);
        SetLogin(auth, std::string(argv[next]) == "--digest", argv[next + 1], argv[next + 2]);
        next += 3;
    }
    if (login) {
        gst_rtsp_server_set_auth(camera.server, auth);
    }
    g_object_unref(auth);
    for (; next + 1 < argc; next += 2) {
        AddPath(camera.server, argv[next], argv[next + 1], login, ear, udpAlone);
    }
    if (gst_rtsp_server_attach(camera.server, nullptr) == 0) {
        return 1;
    }
    GIOChannel* const input = g_io_channel_unix_new(0);
    g_io_add_watch(input, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), OnCommand, &camera);
    std::cout << gst_rtsp_server_get_bound_port(camera.server) << std::endl;
    g_main_loop_run(camera.loop);
    return 0;
}
