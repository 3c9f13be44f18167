// The two ISAAC sizes that the library exports.
#include "General/Maths/IsaacRand.h"

template class TIsaacRand<4>;
template class TIsaacRand<8>;
