#pragma once

#include "aacencoder/decodetopcmbase.h"

/// G.711 A-law to 16-bit samples.
class VANTOR_EXPORT G711AToPcm final : public DecodeToPcmBase
{
public:
    G711AToPcm();

    short decodeOne(unsigned char code) override;
};
