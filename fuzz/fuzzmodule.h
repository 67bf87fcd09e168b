// The start-up shared by the targets that drive the whole module: the
// application on the offscreen platform, a private working directory whose
// settings point every socket at loopback, and the module's start-up phases.
#pragma once

namespace fuzzmodule {

// Aborts when the module does not come up: a target without it finds nothing.
void start(int* argc, char*** argv);

} // namespace fuzzmodule
