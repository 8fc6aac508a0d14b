#pragma once

#include "aacencoder/decodetopcmbase.h"

/// G.711 µ-law to 16-bit samples.
class VANTOR_EXPORT G711UToPcm final : public DecodeToPcmBase
{
public:
    G711UToPcm();

    short decodeOne(unsigned char code) override;
};
