// The documents of a recorder, as texts for tests.
#pragma once

#include <cstdint>
#include <string>

namespace kvtest {

// A line as recorders scramble it: a key word and one word a character, in hexadecimal.
std::string Scramble(const std::string& plain, std::uint32_t key = 0x5A17C3E9);
// The two lines of a channel in the list of channels.
std::string AddressLine(int index, const std::string& id, const std::string& lan, const std::string& wan);
std::string AccountLine(const std::string& user, const std::string& password, int lanPort, int wanPort);

// Each with the head of its reply.
std::string ConcInfoHead(int channels);
std::string ConcInfo(int channels);
// `sections` has a digit for each of the five, the same for all channels.
std::string DiskInfo(int channels, const std::string& sections = "00001",
                     const std::string& disk = "0000 034 976762584");
std::string ExtInfo(int channels, int rtspPort = 554);

}  // namespace kvtest
