#pragma once

namespace bx::ui {

// Creates the application and the main frame and runs the event loop.
int StudioMain(int argc, char** argv);

} // namespace bx::ui
