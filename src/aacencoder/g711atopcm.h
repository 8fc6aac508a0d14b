#pragma once

#include "aacencoder/decodetopcmbase.h"

/// G.711 A-law to 16-bit samples.
class VANTOR_EXPORT G711AToPcm : public DecodeToPcmBase
{
public:
    short decodeOne(unsigned char code) override;
};
