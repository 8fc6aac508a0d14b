#pragma once

#include "core_videobase/graphinfo.h"
#include "core_videobase/osdinfo.h"
#include "core_videobase/vantorexport.h"
#include "core_videobase/widgetpara.h"

#include <QDateTime>
#include <QImage>
#include <QPixmap>
#include <QSharedPointer>
#include <QTimer>
#include <QWidget>

#include <atomic>
#include <memory>

class AbstractVideoThread;
class AudioThread;
class BannerWidget;
class DigitalZoom;
class OverlayLists;
class VideoLayer;
class VideoRenderers;

/// Base of every display widget: shows the pictures of the video thread that a subclass binds to it.
///
/// Three children lie on top of each other. "hwndWidget" is the picture area and the parent of the renderers, which are
/// native windows of their own. "osdWidget" covers the whole widget; border, background, images and on-screen items are
/// painted on it, and while a renderer is shown it is cut to the pixels of border and items, so that they stand above
/// the picture on the screen. "bannerWidget" is the bar of buttons along one edge, shown while the pointer is over a
/// playing widget.
///
/// The video mode decides what shows the pictures: in VideoMode_Hwnd others draw into the native window of
/// "hwndWidget", VideoMode_Opengl takes the YUV renderer for software decoding and the NV12 renderer for hardware
/// decoding, the Direct3D modes take theirs (on Windows), and in any other mode images are painted by the widget
/// itself.
///
/// Renderers keep plane pointers only. Frame signals are connected blocking queued, so that the producing thread waits
/// until a frame is taken over; it keeps the planes until the next one is.
///
/// GUI thread only, except for the on-screen items and graphs, which any thread may change while the widget exists. The
/// widget may be deleted at any moment, also in a slot of one of its signals.
class VANTOR_EXPORT AbstractVideoWidget : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(int bgTextSize READ getBgTextSize WRITE setBgTextSize)
    Q_PROPERTY(QString bgText READ getBgText WRITE setBgText)
    Q_PROPERTY(QColor bgColor READ getBgColor WRITE setBgColor)
    Q_PROPERTY(QColor textColor READ getTextColor WRITE setTextColor)
    Q_PROPERTY(int borderWidth READ getBorderWidth WRITE setBorderWidth)
    Q_PROPERTY(QColor borderColor READ getBorderColor WRITE setBorderColor)
    Q_PROPERTY(QColor focusColor READ getFocusColor WRITE setFocusColor)
    Q_PROPERTY(int bannerBgAlpha READ getBannerBgAlpha WRITE setBannerBgAlpha)
    Q_PROPERTY(QColor bannerBgColor READ getBannerBgColor WRITE setBannerBgColor)
    Q_PROPERTY(QColor bannerTextColor READ getBannerTextColor WRITE setBannerTextColor)
    Q_PROPERTY(QColor bannerPressColor READ getBannerPressColor WRITE setBannerPressColor)

public:
    /// Folders that a host sets once for all its widgets; the library does not read them.
    static QString recordPath;
    static QString snapPath;

    explicit AbstractVideoWidget(QWidget* parent = nullptr);
    ~AbstractVideoWidget() override;

    /// @name Records
    /// @{
    WidgetPara getWidgetPara() const;
    /// Takes effect at once, except for videoMode and muted, which count from the next start of playing on.
    void setWidgetPara(const WidgetPara& para);
    VideoPara getVideoPara() const;
    /// Counts for the next video thread.
    void setVideoPara(const VideoPara& para);
    /// @}

    /// @name Single fields of the records
    /// @{
    int getBgTextSize() const;
    void setBgTextSize(int pixels);
    QString getBgText() const;
    void setBgText(const QString& text);
    QColor getBgColor() const;
    void setBgColor(const QColor& color);
    QColor getTextColor() const;
    void setTextColor(const QColor& color);
    int getBorderWidth() const;
    void setBorderWidth(int pixels);
    QColor getBorderColor() const;
    void setBorderColor(const QColor& color);
    QColor getFocusColor() const;
    void setFocusColor(const QColor& color);
    int getBannerBgAlpha() const;
    void setBannerBgAlpha(int alpha);
    QColor getBannerBgColor() const;
    void setBannerBgColor(const QColor& color);
    QColor getBannerTextColor() const;
    void setBannerTextColor(const QColor& color);
    QColor getBannerPressColor() const;
    void setBannerPressColor(const QColor& color);
    QString getVideoFlag() const;
    void setVideoFlag(const QString& flag);
    ScaleMode getScaleMode() const;
    void setScaleMode(ScaleMode mode);
    VideoMode getVideoMode() const;
    /// Counts from the next start of playing on.
    void setVideoMode(VideoMode mode);
    /// @}

    /// Whether a thread plays in this widget.
    bool getIsRunning() const;

    /// Whether the widget only shows: it starts no recording and takes no sound. Set it before starting.
    bool getViewOnly() const;
    void setViewOnly(bool enabled);

    /// Digital zoom: the wheel enlarges the picture up to four times, dragging moves it.
    bool isDigitalZoom() const;
    void setDigitalZoom(bool enabled);

    /// Makes the native windows of the picture area, and of the layers above it, that the video mode needs.
    /// Afterwards winId() of the child "hwndWidget" is what others may draw into in VideoMode_Hwnd.
    void initWidgetHandle();

    /// Whether the window that the widget is in is minimized.
    bool getIsMinimized() const;

    /// Whether a slot of any display widget runs in a queued call, for which a video thread may be waiting.
    static bool isAnyInQueuedCall();

Q_SIGNALS:
    /// Level of the sound that is played, 0 to 1.
    void receiveLevel(double level);
    void sig_receivePlayStart(int time);
    void sig_receivePlayFinsh();
    /// A file (its path) or an item of a tree (its user data) was dropped on the widget.
    void sig_fileDrag(QString file);
    /// A button of the banner bar was clicked; carries the button's new name.
    void sig_btnClicked(QString btnName);
    void snapImage(QImage image, QString snapName);
    void sig_connExceedMax();
    void sig_otherError();
    void sig_startTalkDeviceBusy(QString reason);
    void sig_startTalkError(QString reason);

public Q_SLOTS:
    /// On-screen items and graphs, in the order they are drawn. Any thread. set... replaces the item of the same name
    /// or appends it, remove... takes the first item of that name.
    void setOsd(OsdInfo osd);
    void appendOsd(OsdInfo osd);
    void removeOsd(QString name);
    void clearOsd();
    void setGraph(GraphInfo graph);
    void appendGraph(GraphInfo graph);
    void removeGraph(QString name);
    void clearGraph();

    /// Shows @p image as if the bound thread had delivered it.
    void setImage(QImage image);

    /// Forgets picture, on-screen items, graphs and digital zoom.
    virtual void clear();

    /// Puts fillColor around and behind the picture, or takes it away again.
    void setPalettex(bool enabled);

    /// Writes a snapshot below the folder @p path; @p preview asks for snapImage() afterwards.
    virtual void snap(QString path, bool preview);

    /// Length of one recording file in seconds, -1 for unlimited.
    virtual void setSaveInterval(int seconds);

    /// Recording of the user, below the folder @p path. Nothing without a thread or when the widget only shows.
    virtual void recordStart(QString path);
    virtual void recordStop();

    virtual void talkStart();
    virtual void talkStop();

    /// 0 to 100, on a logarithmic scale; kept for later starts.
    virtual void setVolume(int volume);
    virtual void setMuted(bool muted);
    /// Whether receiveLevel() is wanted.
    virtual void setCalcLevel(bool calcLevel);

protected Q_SLOTS:
    virtual void started();
    virtual void finished();
    virtual void receivePlayStart(int time);
    virtual void receivePlayFinsh(QObject* finishedThread);
    virtual void btnClicked(QString btnName);
    virtual void receiveImage(QImage image, int time);
    virtual void receiveSizeChanged();
    virtual void receiveCodecChanged();
    virtual void receiveFrame(int width, int height, quint8* dataY, quint8* dataU, quint8* dataV, quint32 linesizeY,
                              quint32 linesizeU, quint32 linesizeV);
    virtual void receiveFrame(int width, int height, quint8* dataY, quint8* dataUV, quint32 linesizeY,
                              quint32 linesizeUV);
    virtual void receiveFrame(int width, int height, quint8* surface, int index, bool codecChanged);
    virtual void receiveFrame(int width, int height, quint8* surface, bool codecChanged);
    virtual void openAudioOutput(int sampleRate, int channelCount, int sampleSize);
    virtual void playAudio(QByteArray samples);
    void newOpenglWidgets();
    void freeOpenglWidgets();
    void newD3D9Widgets();
    void freeD3D9Widgets();
    void newD3D11Widgets();
    void freeD3D11Widgets();
    virtual void onDecoderDestroyed();

protected:
    /// Creates and starts the audio player, unless the widget only shows.
    virtual void startAudioThread();
    virtual void stopAudioThread();

    /// Starts @p audioThread, takes it over and sets it as the widget is set. For overrides of startAudioThread().
    void takeAudioThread(AudioThread* audioThread);

    /// Moves the talk button of the bar to the state "Talk" or "TalkMuted".
    void showTalk(bool on);

    /// The state of the user's recording, for the banner bar.
    void setRecorderState(RecorderState state, const QString& file);

    /// Takes the frame pointers away from every renderer. To be called before memory behind them goes.
    void clearRenderers();

    /// Whether a slot of this widget runs in a queued call. The caller may be a thread that waits for it, so nobody may
    /// wait for a thread of this widget then.
    bool isInQueuedCall() const;

    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void enterEvent(QEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

    /// Paint on the layer "osdWidget", in this order; image and background exclude each other.
    virtual void drawBorder(QPainter* painter);
    virtual void drawBg(QPainter* painter);
    virtual void drawImage(QPainter* painter);
    virtual void drawOsd(QPainter* painter);

    /// The bound thread; frames of any other are ignored. The subclass creates and unbinds it.
    AbstractVideoThread* videoThread = nullptr;

    /// Set by the subclass while a thread plays.
    bool isRunning = false;

    WidgetPara widgetPara;
    VideoPara videoPara;

    /// Name of the decoding in use: of videoPara, then of the bound thread at every layout.
    QString hardware{"none"};

    /// Plays the sound on a thread of its own and is called by slot name only; null while there is none.
    QSharedPointer<QObject> audioPlayer;

private:
    void makeLayers();
    bool isFromBoundThread() const;
    bool isShown() const;
    template <typename Renderer>
    Renderer* takeFrame(Renderer* renderer, int width, int height, bool complete);
    bool drawsNatively() const;
    bool isPictureNative() const;
    void readThread();
    void tellPaintedSize();
    QRectF imageRect() const;
    void layoutChildren();
    void layoutBanner();
    void layoutRenderers();
    void startRendering();
    void applyView();
    void applyFillColor(bool enabled);
    void makeGround();
    bool isGroundOpaque() const;
    void spareGround();
    void paintGroundAround();
    void paintLayer();
    void resolveColors();
    QRegion overlayRegion();
    void overlayChanged();
    void refreshOverlay();
    template <typename Value>
    void change(Value* field, const Value& value);
    template <typename Value>
    void changeBanner(Value BannerPara::*field, const Value& value);
    void showZoomCursor();
    void showSound(bool on);
    template <typename... Arguments>
    void callAudioPlayer(const char* slot, Arguments... arguments);

    const std::unique_ptr<OverlayLists> overlays; // any thread
    std::atomic<bool> refreshPending{false};

    bool viewOnly = false;
    QTimer osdTimer;
    QWidget* hwndWidget = nullptr; // children of the widget, from bottom to top
    VideoLayer* osdWidget = nullptr;
    BannerWidget* bannerWidget = nullptr;
    std::unique_ptr<VideoRenderers> renderers;
    QImage image;
    bool imageFillsArea = false; // of hwndWidget, as it was painted last
    bool groundSpared = false;
    QRect videoRect; // of hwndWidget
    int videoWidth = 0;
    int videoHeight = 0;
    int rotate = -1;
    bool onlyAudio = false;
    const std::unique_ptr<DigitalZoom> zoom;
    QPixmap zoomPixmap;
    QDateTime overlayTime; // the moment that the items on a cut layer show
    int saveInterval = -1; // seconds
    int volume = -1; // 0 to 100, -1 unless set
    bool calcLevel = false;
    RecorderState recorderState = RecorderIdle;
    QString recorderFile;
    bool nativePlaying = false; // others draw into the picture area
    int queuedCalls = 0; // nested calls being delivered to this widget
};
