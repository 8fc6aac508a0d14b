#include "core_audio/pulseprobe.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLibrary>

#include <memory>

namespace {

constexpr int answerMs = 2000;
constexpr int pollUs = 50000;

struct Mainloop;
struct Api;
struct Context;

// Values of pa_context_state_t.
constexpr int contextReady = 4;
constexpr int contextFailed = 5;

/// The part of libpulse that is asked.
class LibPulse
{
public:
    Mainloop* (*newMainloop)() = nullptr;
    void (*freeMainloop)(Mainloop*) = nullptr;
    Api* (*getApi)(Mainloop*) = nullptr;
    int (*prepare)(Mainloop*, int timeoutUs) = nullptr;
    int (*poll)(Mainloop*) = nullptr;
    int (*dispatch)(Mainloop*) = nullptr;
    Context* (*newContext)(Api*, const char* name) = nullptr;
    int (*connectContext)(Context*, const char* server, int flags, const void* spawnApi) = nullptr;
    int (*getState)(const Context*) = nullptr;
    void (*disconnectContext)(Context*) = nullptr;
    void (*unrefContext)(Context*) = nullptr;

    LibPulse()
        : library("pulse", 0)
    {
        loaded = find(newMainloop, "pa_mainloop_new") && find(freeMainloop, "pa_mainloop_free")
            && find(getApi, "pa_mainloop_get_api") && find(prepare, "pa_mainloop_prepare")
            && find(poll, "pa_mainloop_poll") && find(dispatch, "pa_mainloop_dispatch")
            && find(newContext, "pa_context_new") && find(connectContext, "pa_context_connect")
            && find(getState, "pa_context_get_state") && find(disconnectContext, "pa_context_disconnect")
            && find(unrefContext, "pa_context_unref");
    }
    bool isLoaded() const { return loaded; }

private:
    template <typename Function>
    bool find(Function& function, const char* symbol)
    {
        function = reinterpret_cast<Function>(library.resolve(symbol));
        return function != nullptr;
    }

    QLibrary library;
    bool loaded = false;
};

/// Whether Qt's sound goes to PulseAudio: that plug-in is taken wherever it is installed.
bool isPulseInUse()
{
    const QStringList paths = QCoreApplication::libraryPaths();
    for (const QString& path : paths) {
        if (QFile::exists(path + "/audio/libqtmedia_pulse.so"))
            return true;
    }
    return false;
}

bool becomesReady(const LibPulse& pulse, Mainloop* loop, Context* context)
{
    QElapsedTimer elapsed;
    elapsed.start();
    while (!elapsed.hasExpired(answerMs)) {
        const int state = pulse.getState(context);
        if (state == contextReady)
            return true;
        if (state >= contextFailed)
            return false;
        if (pulse.prepare(loop, pollUs) < 0 || pulse.poll(loop) < 0 || pulse.dispatch(loop) < 0)
            return false;
    }
    return false;
}

bool answers(const LibPulse& pulse)
{
    const std::unique_ptr<Mainloop, void (*)(Mainloop*)> loop(pulse.newMainloop(), pulse.freeMainloop);
    if (!loop)
        return false;
    const std::unique_ptr<Context, void (*)(Context*)> context(pulse.newContext(pulse.getApi(loop.get()), "libvantor"),
                                                               pulse.unrefContext);
    if (!context || pulse.connectContext(context.get(), nullptr, 0, nullptr) < 0)
        return false;
    const bool isReady = becomesReady(pulse, loop.get(), context.get());
    pulse.disconnectContext(context.get());
    return isReady;
}

} // namespace

bool PulseProbe::isServerThere()
{
    static const LibPulse pulse;
    return !pulse.isLoaded() || !isPulseInUse() || answers(pulse);
}
