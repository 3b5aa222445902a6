#include "SnapCommand.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <map>
#include <vector>

#include "CommandError.h"
#include "Image.h"
#include "OutputFolder.h"
#include "ScannerConnection.h"

namespace zeta::cli {
namespace {

using namespace zetaVoroSync;

const std::map<std::string, PROJECTTYPES>& patternNames() {
    static const std::map<std::string, PROJECTTYPES> names = {
        {"texture-white", PROJECT_TEXTURE_WHITE},
        {"red", PROJECT_RED},
        {"green", PROJECT_GREEN},
        {"blue", PROJECT_BLUE},
        {"white", PROJECT_WHITE},
        {"aim", PROJECT_AIM},
        {"stripe", PROJECT_STRIPE},
        {"checkerboard", PROJECT_CHECKERBOARD},
        {"laser-lines", PROJECT_LASER_LINES},
        {"grey", PROJECT_GREY},
        {"speckle", PROJECT_SPECKLE},
        {"dot-grid", PROJECT_DOT_GRID},
        {"none", PROJECT_NONE},
    };
    return names;
}

// Frees the images of a group, which the library malloc'd for us, on every path.
class GroupImages {
public:
    GroupImages() = default;
    ~GroupImages() {
        for (unsigned char* image : images) std::free(image);
    }
    GroupImages(const GroupImages&) = delete;
    GroupImages& operator=(const GroupImages&) = delete;

    std::vector<unsigned char*> images;
    std::vector<int> widths;
    std::vector<int> heights;
    std::vector<int> channels;
};

// Frees one image the library malloc'd for us.
struct FreeImage {
    void operator()(unsigned char* image) const { std::free(image); }
};
using LibraryImage = std::unique_ptr<unsigned char, FreeImage>;

}  // namespace

SnapCommand::SnapCommand()
    : Command("snap",
              "Snap one image of a camera, one group of the mono cameras, or one RGB "
              "image, saved as PNG") {}

void SnapCommand::addOptions(CLI::App& app) {
    app.add_option("--index", index_, "camera index of a single or RGB snap")
        ->capture_default_str();
    auto* group =
        app.add_flag("--group", group_, "one image of every mono camera, under --pattern");
    auto* rgb = app.add_flag("--rgb", rgb_, "one RGB image of camera --index");
    group->excludes(rgb);
    app.add_option("--pattern", pattern_, "pattern the projector shows for the snap")
        ->transform(CLI::CheckedTransformer(patternNames(), CLI::ignore_case))
        ->default_str("white");
    app.add_option("--out", out_, "folder of the images, created when missing")
        ->capture_default_str();
}

void SnapCommand::run(Session& session) {
    OutputFolder folder(out_);
    // The library's group snap reports a failure whenever a colour camera is connected, so a
    // group snap connects the mono cameras only unless cameras are named.
    ScannerConnection connection(session, group_);
    Console& console = session.console();

    // A group snap projects its pattern itself; the others light the scene first.
    if (!group_) check(Project(connection.handle(), pattern_), "Project");

    if (group_) {
        GroupImages group;
        const RETSTATUS status = SnapSingleGroupImages(connection.handle(), pattern_, group.images,
                                                       group.widths, group.heights, group.channels);
        if (status != RET_OPERATE_SUCCESS) {
            std::vector<std::string> details;
            for (const ConnectedCamera& camera : connection.cameras()) {
                if (camera.colour) {
                    details.push_back("a group snap takes mono cameras only, and " + camera.serial +
                                      " is a colour camera; name the mono cameras with --camera");
                    break;
                }
            }
            throw CommandError::fromStatus("SnapSingleGroupImages", status, details);
        }
        for (std::size_t i = 0; i < group.images.size(); ++i) {
            const Image image =
                Image::fromFrame(group.images[i], i < group.widths.size() ? group.widths[i] : 0,
                                 i < group.heights.size() ? group.heights[i] : 0,
                                 i < group.channels.size() ? group.channels[i] : 1);
            const std::string path = folder.write("group_cam" + std::to_string(i) + ".png", image);
            console.line("wrote " + path + " (" + image.description() + ")");
        }
    } else if (rgb_) {
        unsigned char* data = nullptr;
        int width = 0;
        int height = 0;
        const RETSTATUS status =
            SnapRGBImageFromSpecifyCamera(connection.handle(), index_, data, width, height);
        const LibraryImage owned(data);
        check(status, "SnapRGBImageFromSpecifyCamera");
        const Image image = Image::fromFrame(owned.get(), width, height, 3);
        const std::string path = folder.write("rgb_cam" + std::to_string(index_) + ".png", image);
        console.line("wrote " + path + " (" + image.description() + ")");
    } else {
        unsigned char* data = nullptr;
        int width = 0;
        int height = 0;
        int channels = 0;
        const RETSTATUS status = SnapSingleImageFromSpecifyCamera(connection.handle(), index_, data,
                                                                  width, height, channels);
        const LibraryImage owned(data);
        check(status, "SnapSingleImageFromSpecifyCamera");
        const Image image = Image::fromFrame(owned.get(), width, height, channels);
        const std::string path = folder.write("snap_cam" + std::to_string(index_) + ".png", image);
        console.line("wrote " + path + " (" + image.description() + ")");
    }
    connection.disconnect();
}

}  // namespace zeta::cli
