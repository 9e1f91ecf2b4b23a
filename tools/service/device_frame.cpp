#include "service/device_frame.h"

#include "base/failure.h"
#include "pictures/picture.h"
#include "pictures/picture_files.h"
#include "service/caption.h"
#include "service/digest.h"

#include <algorithm>

namespace oxel::tools {

namespace {

/// One picture, with its caption below it.
Light compose_one(const Device &device, const ShownPicture &shown, ImageSize size) {
    PictureSettings settings = device.configuration.settings.picture;
    if (shown.crop) {
        Framing &framing = settings.framing;
        framing.crop.emplace();
        for (std::size_t i = 0; i < 4; ++i)
            (*framing.crop)[i] = {100 * (*shown.crop)[i], true};
        framing.focus.reset();
    }
    const int rows = shown.caption.empty() ? 0 : caption_rows(size);
    settings.size = ImageSize{size.width, size.height - rows};
    ImageSize received{};
    Light light;
    try {
        light = open_picture(shown.file.path(), settings, *device.panel, received);
    } catch (const Failure &failure) {
        throw Failure(shown.name,
                      failure.file() == shown.file.path() ? failure.reason() : failure.what());
    }
    if (rows > 0) {
        const Light caption = draw_caption(shown.caption, size.width, rows, settings.limits);
        light.insert(light.end(), caption.begin(), caption.end());
    }
    return light;
}

Rendering render_measured(const Device &device, const Light &picture) {
    std::optional<int> verdict;
    return render_picture(picture, device.size, device.configuration.settings, *device.panel,
                          {.measured = true}, verdict);
}

bool writes_indices(const Device &device) {
    return device.configuration.settings.frame.content == FrameContent::index;
}

} // namespace

std::string frame_key(const Device &device, const std::vector<ShownPicture> &pictures) {
    Digest digest;
    digest.add(device.settings);
    digest.add(device.size.text());
    for (const ShownPicture &picture : pictures) {
        digest.add(picture.digest);
        digest.add(picture.caption);
        if (picture.crop)
            for (const double share : *picture.crop)
                digest.add(std::to_string(share));
        else
            digest.add("whole");
    }
    return digest.hex();
}

Light compose(const Device &device, const std::vector<ShownPicture> &pictures) {
    if (pictures.size() == 1)
        return compose_one(device, pictures.front(), device.size);
    const auto width = static_cast<std::size_t>(device.size.width);
    Light whole(3 * device.size.pixels());
    std::size_t left = 0;
    for (const ShownPicture &picture : pictures) {
        const std::size_t part = left == 0 ? width / 2 : width - left;
        const Light light =
            compose_one(device, picture, {static_cast<std::int32_t>(part), device.size.height});
        for (std::size_t y = 0; y < static_cast<std::size_t>(device.size.height); ++y)
            std::copy_n(&light[3 * part * y], 3 * part, &whole[3 * (width * y + left)]);
        left += part;
    }
    return whole;
}

Bytes device_frame(const Device &device, const Light &picture, PanelTurns &turns) {
    const RenderSettings &settings = device.configuration.settings;
    const PanelTurns::Turn turn(turns, device.panel, writes_indices(device));
    std::optional<int> verdict;
    Rendering rendering = render_picture(picture, device.size, settings, *device.panel,
                                         frame_form(settings.frame.content), verdict);
    ImageSize size = device.size;
    // Devices share frames, so that formats that name what they hold name no device.
    return frame_file(rendering, size, settings, *device.panel, device.layout, "frame");
}

Bytes device_preview(const Device &device, const Light &picture, PanelTurns &turns) {
    Bytes measured;
    {
        const PanelTurns::Turn turn(turns, device.panel, writes_indices(device));
        measured = render_measured(device, picture).measured;
    }
    return encode_png(device.configuration.id, measured, device.size);
}

} // namespace oxel::tools
