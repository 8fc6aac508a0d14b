#include "aacencoder/idecodetopcm.h"

IDecodeToPcm::~IDecodeToPcm() = default;
