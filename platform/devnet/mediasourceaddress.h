#pragma once

#include <QString>

#include <optional>

/// What the built-in test picture looks and sounds like.
struct TestPictureOptions
{
    int width = 640; ///< pixels, even
    int height = 360; ///< pixels, even
    int rate = 25; ///< pictures a second
    bool h265 = false; ///< H.264 otherwise
    bool aLaw = false; ///< mu-law otherwise
    int toneHertz = 440; ///< 0 for no sound
};

/// One entry of a channel's list of sources, understood.
struct MediaSourceAddress
{
    enum Kind { None, TestPicture, File, Url };

    Kind kind = None;
    QString text; ///< the name of the file, the address, or the entry as it was
    TestPictureOptions test; ///< for TestPicture

    /// Nothing, with the reason in @p error, when @p entry can't be a source.
    static std::optional<MediaSourceAddress> parse(const QString& entry, QString* error);

    /// Whether the other side sends in real time, so that nothing needs to wait for the time of a frame.
    bool isLive() const;

    /// For messages: with asterisks in place of the secrets in an address.
    QString display() const;
};
