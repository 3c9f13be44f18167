// The container demonstration of the demo host: saves a few objects in each file form, loads
// them back and shows that nothing changed, then loads a larger container with a progress bar.
#pragma once

/// Runs the demonstration; writes its files under `outDir`. Returns 0 when all went well.
int RunContainerDemo(const char *dataDir, const char *outDir);
