// The resource demonstration of the demo host: a small tree of INI, XML, container and binary
// data files found through rules, loaded from a directory bank and from a packed copy, some of
// them on the importer thread, and a second run that reads the compiled files of the first.
#pragma once

/// Runs the demonstration over `dataDir`/resources; writes the pack, list files and compiled
/// files under `outDir`. Returns 0 when all went well.
int RunResourceDemo(const char *dataDir, const char *outDir);
