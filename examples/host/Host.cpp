// The demo host: drives the library the way a game does. It grows with the library.
#include <cstdio>

#include "General/Core/LibAllocator.h"
#include "General/Core/LibContainers.h"

int main(int argc, char **argv) {
    const char *data = argc > 1 ? argv[1] : "examples/data";
    std::printf("VLibBase demo host, sample data in %s\n", data);
    TLibVector<int> frames;
    for (int i = 0; i < 10; ++i)
        frames.push_back(i);
    std::printf("library heap: %lu bytes live, footprint %lu bytes\n",
                GetAllocatorInstance().GetTotalAlloc(), GetAllocatorInstance().GetMemoryFootprint());
    return 0;
}
