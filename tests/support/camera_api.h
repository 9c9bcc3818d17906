// A recorder's cameras as its interface tells them, for windows that are drawn.
#pragma once

#include "support/fake_recorder.h"

namespace kvtest {

inline void GiveCameras(FakeRecorder& recorder) {
    recorder.SetDocument("GET /api/v1/cameras", HttpReply(200, "OK", R"({"revision": "1", "cameras": [
        {"channel": 0, "name": "Main gate", "kind": "camera", "state": "live", "trouble": "",
         "address": "rtsp://192.168.100.20:554/main", "user": "guard", "has_password": true, "transport": "udp",
         "certificate": "sha256:6f1e9c0b77a24d5583e1f0c29ab4d66e0f1e9c0b77a24d5583e1f0c29ab4d66e",
         "codec": "H.265", "width": 1920, "height": 1080, "watchers": 2},
        {"channel": 1, "name": "Yard", "kind": "camera", "state": "lost", "trouble": "the password was refused",
         "address": "rtsp://192.168.100.21/h264", "codec": "", "width": 0, "height": 0, "watchers": 1},
        {"channel": 2, "name": "Hall", "kind": "scene", "state": "idle", "codec": "MJPEG", "width": 640, "height": 480},
        {"channel": 3, "name": "", "kind": "none", "state": "none"}]})"));
    recorder.On("/api/v1/discovery", [](Peer& peer) {
        peer.Read(2);  // "{}"; else the close would take the answer away
        peer.Write(HttpReply(200, "OK", R"({"state": "done", "found": [{"host": "192.168.100.30",
            "maker": "Maker", "model": "Dome 4", "name": "Porch", "streams": []}]})"));
    });
}

inline const char* const kCameraInfo =
    R"({"api": 1, "can_change": true, "can_discover": true, "can_test": true})";

}  // namespace kvtest
