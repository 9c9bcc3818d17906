// onvif_device [--main URL] [--sub URL] [--beacon]
// A camera of ONVIF with the login guard:sesame, until its standard input ends. Prints its address and, asked
// for, the port at which it answers to those who look for cameras. Its streams are told as they are given.
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "support/onvif_device/onvif_beacon.h"
#include "support/onvif_device/onvif_device.h"

int main(int argc, char** argv) {
    kvtest::OnvifDeviceSetup setup;
    bool tells = false;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--beacon") {
            tells = true;
        } else if (i + 1 < argc && (option == "--main" || option == "--sub")) {
            (option == "--main" ? setup.rtspMain : setup.rtspSub) = argv[++i];
        } else {
            std::cerr << "onvif_device: " << option << "?\n";
            return 2;
        }
    }
    const kvtest::OnvifDevice device(setup);
    std::cout << device.Address() << std::endl;
    std::unique_ptr<kvtest::OnvifBeacon> beacon;
    if (tells) {
        beacon = std::make_unique<kvtest::OnvifBeacon>(std::vector<kvtest::OnvifBeacon::Camera>{
            {"urn:uuid:9b1c0001", device.Address(), "onvif://www.onvif.org/name/Yard"}});
        std::cout << beacon->Port() << std::endl;
    }
    while (std::getchar() != EOF) {
    }
    return 0;
}
