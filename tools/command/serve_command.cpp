#include "command/commands.h"

#include "command/device_settings.h"
#include "service/serve.h"

#include <memory>

namespace oxel::tools {

namespace {

const char *const serve_explanation = R"(
CONFIG names albums, which are folders of pictures, and devices, each with a panel, a source of pictures
and a schedule. A device asks for /devices/ID/frame, is told by X-Next-Wake how many seconds it may
sleep, and by 304 that it has the frame already. / is the page, where albums are looked through.

  listen = "127.0.0.1:8480"            where it listens: nothing else than this computer reaches that
  cache = "cache"                      the folder of rendered frames, and below it
  cache-megabytes = 1000               what they may take
  state = "state"                      what users have moved on by ?next
  site = "/usr/share/oxel/site"        the page; by default the one that was installed
  token = "..."                        of the page, and of all that writes (or token-file)
  upload-megabytes = 40                the largest picture that may be sent
  jobs = 2                             renders at once; all processors by default

  [albums]
  family = "/srv/photos/family"        or an array of folders

  [devices.kitchen]
  panel = "six-colour"                 and the other options of oxel render, by their names
  size = "800x480"
  frame = "packed4"
  album = "family"                     or folder, picture, command (an array) or address
  order = "shuffled"                   newest, name or shuffled, which seed varies
  interval = "30m"                     or times = ["06:30", "18:00"]
  quiet = "22:00-06:30"                when it does not change
  zone = "Europe/Berlin"
  caption = "date"                     none, name, date, or text: the first line of PICTURE.txt
  pairs = true                         two portraits side by side on a landscape panel
  token = "..."                        that this device must send, or token-file

Paths begin in the file's folder. SIGHUP has the file read anew; what is wrong in it is told, and the
configuration before stays; listen, cache, state and jobs hold until the end. SIGTERM ends it when what is
under way is done.

Examples:
  oxel serve oxel-serve.toml
  curl -i http://127.0.0.1:8480/devices/kitchen/frame -o frame.bin)";

} // namespace

void add_serve_command(CLI::App &app) {
    const auto options = std::make_shared<ServeOptions>();
    CLI::App *command = app.add_subcommand("serve", "Give panels their frames by HTTP");
    command->footer(serve_explanation);
    command
        ->add_option("CONFIG", options->configuration, "Configuration of devices and albums, TOML")
        ->required();
    command->add_option("--clock", options->clock, "File that holds the time, for simulations")
        ->option_text("FILE");
    command->callback([options] {
        options->read_settings = read_device_settings;
        serve(*options);
    });
}

} // namespace oxel::tools
