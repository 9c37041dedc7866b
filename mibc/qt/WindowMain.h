// The program with a window.
#pragma once

namespace korvane::mibc {

// Whether there is a screen to show one on.
bool HasDisplay();

// Until the window is closed; the exit status.
int ShowWindow(int argc, char** argv);

}  // namespace korvane::mibc
