// What comes to who looks for recorders, and what comes to a recorder as such a question: the same datagram
// is taken for both. Datagrams stand behind their lengths.
#include <string>
#include <vector>

#include "connections/search_port.h"
#include "fuzz_input.h"
#include "server/recorder_search.h"

namespace {

using kvfuzz::Check;

void Answer(std::string_view question, std::string_view name) {
    const auto answer = kvrecorder::SearchAnswer(question, name, 8090);
    if (!answer) {
        return;
    }
    Check(answer->size() <= question.size());
    std::vector<kvmon::FoundRecorder> found;
    const std::string_view mark = question.substr(wire::kSearchQuestion.size(), wire::kSearchMark);
    Check(kvmon::AddFoundRecorder(*answer, mark, "192.0.2.1", found) && found[0].port == 8090);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvfuzz::Input input(data, size);
    std::vector<kvmon::FoundRecorder> found;
    while (!input.IsAtEnd()) {
        const std::string sender = "192.0.2." + std::to_string(input.Byte() % 64);
        const auto bytes = input.Take(input.Number(2) % 400);
        const std::string_view datagram = kvfuzz::AsText(bytes);
        kvmon::AddFoundRecorder(datagram, "12345678", sender, found);
        Answer(datagram, "North \xC3\xA9");
        std::string question(wire::kSearchQuestion);
        question.resize(wire::kSearchQuestionSize, 'x');
        Answer(question, datagram);
    }
    Check(found.size() <= kvmon::kMostFoundRecorders);
    for (const kvmon::FoundRecorder& each : found) {
        Check(each.port != 0 && each.name.size() <= 3 * wire::kSearchMostName);
        Check(each.name.find_first_of(std::string_view("\n\r\t\x1B\0", 5)) == std::string::npos);
    }
    return 0;
}
