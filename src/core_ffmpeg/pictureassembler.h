#pragma once

#include "core_ffmpeg/annexb.h"
#include "core_ffmpeg/ffmpegptr.h"

#include <QtGlobal>

#include <optional>
#include <vector>

/// Puts the pictures of a live H.264 stream together from what FFmpeg's RTP receiver hands out while its parsers are
/// off: a piece per network packet, a whole unit or a fragment of one.
///
/// That a picture has ended is certain when the next one begins, a picture's time later; FFmpeg's own parser waits for
/// that. Here a picture is handed out twice: takeEarly() gives it when it looks whole, for showing, takeWhole() when it
/// is certain, for keeping, and says whether the early one was right. A picture looks whole when it has as many slices
/// as the one before it and the last fragment was shorter than a network packet may be; senders fill all but the last.
/// A sender that does otherwise is found out once, and from then on takeEarly() gives nothing. What goes on without a
/// picture beyond any picture's size is dropped.
///
/// One thread at a time. After each add() ask for the whole picture first, then for the early one.
class PictureAssembler
{
public:
    struct WholePicture
    {
        AvPacketPtr packet;
        bool wasEarly = false;  ///< takeEarly() has given it
        bool wasTooSoon = false; ///< what takeEarly() gave was not all of it
    };

    /// @p parameters of the stream, with its parameter sets.
    explicit PictureAssembler(const AVCodecParameters* parameters);

    /// Takes the next piece in.
    void add(const AVPacket* packet);

    /// Ends the picture that is being put together: the source has ended.
    void finish();

    /// The picture that the last piece or finish() has ended, if it did.
    std::optional<WholePicture> takeWhole();

    /// The picture that is being put together, once it looks whole; null before, and after it was taken.
    AvPacketPtr takeEarly();

    /// Whether no picture has ended yet, so that the number of slices is a guess.
    bool isFirst() const { return !knowsSlices; }

private:
    /// What came in one packet of the network.
    struct Piece
    {
        explicit Piece(const AVPacket* received);

        const AVPacket* packet;
        size_t size;
        bool isFragment;                 ///< not the first of its unit
        std::vector<AnnexB::Unit> units; ///< none in a fragment
    };

    bool beginsPicture(const Piece& piece) const;
    bool isOfAnotherTime(const AVPacket* piece) const;
    void append(const Piece& piece);
    void appendFragment(size_t bytes);
    void appendUnits(const Piece& piece);
    void noticeLateSlice();
    bool looksWhole() const;
    void endPicture();
    void forgetPicture();
    AvPacketPtr makePicture();
    void describe(const AVPacket* picture);

    CodecContextPtr context;
    CodecParserPtr parser;
    std::optional<WholePicture> whole;

    // The picture that is being put together.
    std::vector<quint8> data;
    AvPacketPtr first;       ///< what is said of it: times as its first piece had them, and whether it is a key frame
    bool isDescribed = false;
    int slices = 0;
    bool isUnitOpen = false; ///< fragments of the last unit may follow
    size_t unitBytes = 0;    ///< of the last unit's first piece
    bool isEarly = false;
    bool isTooSoon = false;

    // What is known of the sender.
    int usualSlices = 1;
    bool knowsSlices = false;
    size_t fullBytes = 0; ///< of a first fragment, 0 while none was seen
    int mistakes = 0;
};
