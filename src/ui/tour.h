#pragma once
// A scripted first session through the windows' own widgets, as a new user has it, with a
// picture of each state: "Color add" keyed from -4 to 189 over the animation, a scrub to the
// middle, the last key moved and eased, "Gaussian blur" found by typing, a value typed, a
// render with its progress window, and the undo. The pictures are what the README shows;
// scripts/screenshots.sh makes them again.
#include <QString>
#include <functional>

namespace tessfx {

class EmbeddedHost;
class HostWindow;
class ToolWindow;

// Runs the tour on the windows (the host holding the demo animation) and saves its pictures
// as PNG files into `folder`; calls `done` with 0, or 1 when a picture could not be written
// or a step did not come out as the tour expects (the message is printed).
void RunTour(EmbeddedHost& host, HostWindow& host_window, ToolWindow& tool, const QString& folder,
             std::function<void(int)> done);

}  // namespace tessfx
