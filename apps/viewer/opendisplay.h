#pragma once

class AbstractVideoThread;

/// A display whose thread may be looked at, which a display keeps to itself and its subclasses.
template <typename Display>
class OpenDisplay : public Display
{
public:
    using Display::Display;

    /// The thread whose pictures are shown; null while there is none.
    AbstractVideoThread* shownThread() const { return this->videoThread; }
};
