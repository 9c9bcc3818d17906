// The stored tree as the console loads it, with values that no console has written.
//
// The input is a list of values: section, entry, kind and value, each chosen by bytes. The sections and
// entries are those that the loaders read, so that most values are looked at.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "console/layout/channel_orders.h"
#include "console/layout/layout.h"
#include "console/settings/console_options.h"
#include "console/settings/multi_server_list.h"
#include "fuzz_input.h"
#include "persist/orvo_registry.h"

using namespace kvmon;
using kvfuzz::Check;
using kvfuzz::Input;

namespace {

constexpr std::string_view kKey = "Hall";
constexpr std::string_view kIdentity = "ann@10.0.0.1:80";

constexpr const char* kSections[] = {
    "",
    "Hall",
    "Hall\\CustomChannelStyle",
    "MultiServer",
    "MultiServer\\x",
    "MultiServer\\x\\00",
    "MultiServer\\x\\01",
    "MultiServer\\x\\02",
};

constexpr const char* kEntries[] = {
    "4ChList",
    "6ChList",
    "8ChList",
    "9ChList",
    "10ChList",
    "12ChList",
    "4x4ChList",
    "4x5ChList",
    "5x4ChList",
    "5x5ChList",
    "6x6ChList",
    "6x7ChList",
    "7x6ChList",
    "4ChListCurActIdx",
    "4ChListCurPageIdx",
    "9ChListCurPageIdx",
    "12ChListCurActIdx",
    "4x4ChListCount",
    "7x6ChListCount",
    "7x6ChListCurPageIdx",
    "7x7ChListCurPageIdx",
    "7x6ChListCurActIdx",
    "Style",
    "PinInPicList",
    "PIPChildChannel",
    "ViewStyle",
    "PageIdx",
    "MaxViewMode",
    "SequentialMode",
    "SequentialInterval",
    "ShowViewTypeInSequentialMode",
    "EnableAudio",
    "EventHighLight",
    "SanpshotFolder",
    "SaveSnapshotAsJpeg",
    "ManualInputSnapeshotFilename",
    "ShowNoConfig",
    "ShowNoMonitoringRight",
    "StopGetDataWhenViewInvisible",
    "ann@10.0.0.1:80",
    "Count",
    "Name",
    "IPAddr",
    "Port",
    "Username",
    "Passwd",
    "ChannelCount",
    "NameGiven",
};

// One tree for all inputs, in memory, since there is no file of that name; each input begins with an empty
// one.
COrvoRegistry& EmptyTree() {
    static COrvoRegistry* const tree = [] {
        RegistryApp app;
        app.databasePath = "/proc/kvmon/settings.db";
        auto* const registry = new COrvoRegistry;
        registry->InitRegistry(false, app);
        return registry;
    }();
    tree->DeleteSection("");
    return *tree;
}

void WriteValue(COrvoRegistry& tree, Input& input) {
    const char* const section = kSections[input.Byte() % std::size(kSections)];
    const char* const entry = kEntries[input.Byte() % std::size(kEntries)];
    const std::uint8_t kind = input.Byte();
    switch (kind % 4) {
        case 0:
            tree.WriteProfileInt(section, entry, input.Number());
            break;
        case 1:
            tree.WriteProfileInt(section, entry, input.Byte());
            break;
        case 2:
            tree.WriteProfileString(section, entry, input.Text(kind / 4));
            break;
        default: {
            const std::string bytes = input.Text(2 * static_cast<std::size_t>(kind));
            tree.WriteProfileBinary(section, entry,
                                    {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
        }
    }
}

// Whatever the order says, the view is one that can be shown.
void CheckLayout(ChannelOrders& orders, int style, std::uint32_t cameras, std::uint32_t children) {
    LayoutInput input;
    input.style = CheckedViewStyle(style);
    input.windowCount = kMaxPageSize;
    input.cameraCount = static_cast<int>(cameras);
    input.area = input.singleArea = PixelRect{19, 64, 802, 613};
    input.array = orders.Find(input.style);
    input.rows = static_cast<int>(orders.Custom().GetRows());
    input.columns = static_cast<int>(orders.Custom().GetColumns());
    input.pipList = orders.PipList();
    input.pipChildren = PipChildCount(children, static_cast<int>(cameras));
    const LayoutPlan plan = ComputeLayout(input);
    std::set<int> windows;
    for (const CellPlan& cell : plan.cells) {
        Check(cell.window >= 0 && cell.window < kMaxPageSize && windows.insert(cell.window).second);
        Check(!cell.shown || (cell.channel >= -1 && cell.channel < static_cast<int>(cameras)));
    }
    Check(plan.streams.size() == cameras);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::uint32_t cameras = input.Byte() % 140;
    const std::uint8_t style = input.Byte();
    COrvoRegistry& tree = EmptyTree();
    {
        const COrvoRegistry::Batch together(tree);
        for (int i = 0; i < 64 && !input.IsAtEnd(); ++i) {
            WriteValue(tree, input);
        }
    }

    ConsoleOptions options;
    options.Load(tree, kKey);
    const SessionStart start = LoadSessionStart(tree, kKey);
    Check(start.sequentialMs >= 3000 && start.sequentialMs <= 3600000);

    for (const SavedServer& server : LoadServerList(tree, std::string(kIdentity))) {
        Check(!server.address.empty() && !server.user.empty());
        Check(server.port >= 1 && server.port <= 65535);
    }

    ChannelOrders orders;
    orders.SetTotalCount(cameras);
    orders.Load(tree, std::string(kKey));
    const auto stored = static_cast<int>(tree.GetProfileInt(kKey, "ViewStyle", style));
    const std::uint32_t children = tree.GetProfileInt(kKey, "PIPChildChannel", 0);
    CheckLayout(orders, stored, cameras, children);
    for (int each = 0; each < kViewStyleCount; ++each) {
        CheckLayout(orders, each, cameras, children);
    }
    const COrvoRegistry::Batch together(tree);
    orders.Save(tree, std::string(kKey));
    return 0;
}
