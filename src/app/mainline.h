#pragma once

namespace sonic {

/// Builds everything in order, runs the sampling loop and takes everything down in reverse order.
/// Returns when the loop does. Without arguments it prints the help and ends the process with 0.
void mainline(int argc, char** argv);

}  // namespace sonic
