#include "console/views/view_file.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <algorithm>
#include <set>

#include "platform/outside_text.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr const char* kFormat = "kvmon views";
constexpr std::size_t kMaxHost = 255;
constexpr std::size_t kMaxCameraName = 255;
constexpr int kMaxChannel = 65535;
constexpr int kMaxZoom = 1000;         // levels; the picture ends long before
constexpr int kMaxPixel = 1 << 20;     // of a rectangle's side
constexpr std::size_t kMaxPages = 13;  // six styles and seven custom grids

QString FromUtf8(const std::string& text) {
    return QString::fromStdString(text);
}

template <typename Items, typename Make>
QJsonArray ToArray(const Items& items, Make make) {
    QJsonArray array;
    for (const auto& item : items) {
        array.append(make(item));
    }
    return array;
}

template <typename Numbers>
QJsonArray ToNumbers(const Numbers& numbers) {
    return ToArray(numbers, [](int number) { return QJsonValue(number); });
}

QJsonObject ToJson(const NamedView& view) {
    QJsonObject json{{"name", FromUtf8(view.name)}};
    if (view.IsSequence()) {
        json["steps"] = ToArray(view.steps, [](const ViewStep& step) {
            return QJsonObject{{"view", FromUtf8(step.view)}, {"seconds", step.seconds}};
        });
        return json;
    }
    json["style"] = view.style;
    json["grid"] = static_cast<int>(view.customStyle);
    json["largest"] = view.bMaxView;
    json["fullScreen"] = view.bFullScreen;
    json["secondDisplay"] = view.bSecondDisplay;
    json["cameras"] = ToArray(view.cameras, [](const ViewCamera& camera) {
        return QJsonObject{{"host", FromUtf8(camera.host)},
                           {"port", static_cast<int>(camera.port)},
                           {"channel", camera.channel},
                           {"name", FromUtf8(camera.name)}};
    });
    json["pages"] = ToArray(view.pages, [](const ViewPages& pages) {
        return QJsonObject{{"style", FromUtf8(pages.style)},
                           {"page", static_cast<int>(pages.page)},
                           {"cells", ToNumbers(pages.cells)}};
    });
    json["pictureInPicture"] = ToNumbers(view.pip);
    json["smallPictures"] = view.pipChildren;
    json["single"] = view.single;
    json["zooms"] = ToArray(view.zooms, [](const ViewZoom& zoom) {
        const PixelRect& rect = zoom.state.rect;
        return QJsonObject{{"camera", zoom.camera},
                           {"level", zoom.state.nLevel},
                           {"rect", QJsonArray{rect.left, rect.top, rect.right, rect.bottom}}};
    });
    return json;
}

// Reads a value after the other and remembers whether all of them were right.
class Reader {
public:
    bool IsRight() const { return m_bRight; }
    void Refuse() { m_bRight = false; }

    int Number(const QJsonValue& value, int least, int most) {
        const double number = value.toDouble(-1e9);
        const bool bWhole = number >= least && number <= most && number == static_cast<int>(number);
        m_bRight = m_bRight && value.isDouble() && bWhole;
        return bWhole ? static_cast<int>(number) : least;
    }
    // A number that may be missing.
    int NumberOr(const QJsonValue& value, int least, int most, int missing) {
        return value.isUndefined() ? missing : Number(value, least, most);
    }
    bool Flag(const QJsonValue& value) {
        m_bRight = m_bRight && (value.isBool() || value.isUndefined());
        return value.toBool();
    }
    std::string Line(const QJsonValue& value, std::size_t most) {
        m_bRight = m_bRight && (value.isString() || value.isUndefined());
        return OutsideLine(Utf16Left(value.toString().toStdString(), most));
    }
    QJsonArray Array(const QJsonValue& value, std::size_t most) {
        const QJsonArray array = value.toArray();
        m_bRight = m_bRight && (value.isArray() || value.isUndefined()) &&
                   static_cast<std::size_t>(array.size()) <= most;
        return m_bRight ? array : QJsonArray();
    }

private:
    bool m_bRight = true;
};

void ReadCameras(Reader& read, const QJsonValue& list, NamedView& view) {
    for (const QJsonValue each : read.Array(list, kMaxViewCells)) {
        ViewCamera camera;
        camera.host = read.Line(each["host"], kMaxHost);
        camera.port = static_cast<std::uint32_t>(read.NumberOr(each["port"], 1, 65535, 80));
        camera.channel = read.Number(each["channel"], 0, kMaxChannel);
        camera.name = read.Line(each["name"], kMaxCameraName);
        if (camera.host.empty()) {
            read.Refuse();
        }
        view.cameras.push_back(camera);
    }
}

void ReadPages(Reader& read, const QJsonValue& list, NamedView& view) {
    const int last = static_cast<int>(view.cameras.size()) - 1;
    for (const QJsonValue each : read.Array(list, kMaxPages)) {
        ViewPages pages;
        pages.style = read.Line(each["style"], 8);
        pages.page =
            static_cast<std::uint32_t>(read.NumberOr(each["page"], 0, static_cast<int>(kMaxViewCells), 0));
        for (const QJsonValue cell : read.Array(each["cells"], kMaxViewCells)) {
            pages.cells.push_back(read.Number(cell, -1, last));
        }
        view.pages.push_back(std::move(pages));
    }
}

void ReadZooms(Reader& read, const QJsonValue& list, NamedView& view) {
    const int last = static_cast<int>(view.cameras.size()) - 1;
    for (const QJsonValue each : read.Array(list, kMaxViewCells)) {
        ViewZoom zoom;
        zoom.camera = read.Number(each["camera"], 0, std::max(last, 0));
        zoom.state.bOn = true;
        zoom.state.nLevel = read.Number(each["level"], 0, kMaxZoom);
        const QJsonArray sides = read.Array(each["rect"], 4);
        int* const targets[] = {&zoom.state.rect.left, &zoom.state.rect.top, &zoom.state.rect.right,
                                &zoom.state.rect.bottom};
        for (int i = 0; i < 4; ++i) {
            *targets[i] = read.Number(sides.at(i), 0, kMaxPixel);
        }
        if (last < 0) {
            read.Refuse();
        }
        view.zooms.push_back(zoom);
    }
}

void ReadView(Reader& read, const QJsonObject& json, NamedView& view) {
    view.style = read.Number(json["style"], 0, kViewStyleCount - 1);
    view.customStyle = static_cast<std::uint32_t>(read.NumberOr(json["grid"], 0, 6, 0));
    view.bMaxView = read.Flag(json["largest"]);
    view.bFullScreen = read.Flag(json["fullScreen"]);
    view.bSecondDisplay = read.Flag(json["secondDisplay"]);
    ReadCameras(read, json["cameras"], view);
    ReadPages(read, json["pages"], view);
    const int last = static_cast<int>(view.cameras.size()) - 1;
    const QJsonArray pip = read.Array(json["pictureInPicture"], view.pip.size());
    for (int i = 0; i < pip.size(); ++i) {
        view.pip[static_cast<std::size_t>(i)] = read.Number(pip.at(i), -1, last);
    }
    view.pipChildren = read.NumberOr(json["smallPictures"], 0, kMaxPipChildren, 0);
    view.single = read.NumberOr(json["single"], -1, last, -1);
    ReadZooms(read, json["zooms"], view);
}

void ReadSteps(Reader& read, const QJsonValue& list, NamedView& view) {
    for (const QJsonValue each : read.Array(list, kMaxViewSteps)) {
        ViewStep step;
        step.view = CleanViewName(read.Line(each["view"], kMaxViewName));
        step.seconds = read.Number(each["seconds"], kMinStepSeconds, kMaxStepSeconds);
        if (step.view.empty()) {
            read.Refuse();
        }
        view.steps.push_back(step);
    }
}

}  // namespace

QByteArray WriteViews(const std::vector<NamedView>& views) {
    const QJsonObject file{
        {"format", kFormat}, {"version", kViewFileVersion}, {"views", ToArray(views, ToJson)}};
    return QJsonDocument(file).toJson();
}

ParsedViews ReadViews(const QByteArray& text) {
    const QJsonDocument document =
        text.size() <= kMaxViewFile ? QJsonDocument::fromJson(text) : QJsonDocument();
    const QJsonObject file = document.object();
    if (file["format"].toString() != QLatin1String(kFormat) || !file["version"].isDouble() ||
        !file["views"].isArray()) {
        return {{}, ViewFileFault::NoViews};
    }
    if (file["version"].toDouble() > kViewFileVersion) {
        return {{}, ViewFileFault::Newer};
    }
    if (static_cast<std::size_t>(file["views"].toArray().size()) > kMaxViews) {
        return {{}, ViewFileFault::TooMany};
    }
    Reader read;
    ParsedViews parsed;
    std::set<std::string> names;
    for (const QJsonValue each : file["views"].toArray()) {
        const QJsonObject json = each.toObject();
        NamedView view;
        view.name = CleanViewName(read.Line(json["name"], kMaxViewName));
        if (view.name.empty() || !names.insert(view.name).second) {
            read.Refuse();
        }
        if (json.contains("steps")) {
            ReadSteps(read, json["steps"], view);
            if (view.steps.empty()) {
                read.Refuse();
            }
        } else {
            ReadView(read, json, view);
        }
        parsed.views.push_back(std::move(view));
    }
    return read.IsRight() ? parsed : ParsedViews{{}, ViewFileFault::NoViews};
}

std::string CleanViewName(const std::string& name) {
    const QString line = QString::fromStdString(OutsideLine(name)).simplified();
    const std::string cut = Utf16Left(line.toStdString(), kMaxViewName);
    return QString::fromStdString(cut).trimmed().toStdString();
}

}  // namespace kvmon
