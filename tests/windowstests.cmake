# The tests that are built for Windows: those whose peers are not Linux's own (its sound server, its way to stand in for
# a library's functions, /proc, an RTSP server as a child process).
set(VANTOR_WINDOWS_TESTS
    tst_abstractsavethread
    tst_abstractvideodlthread
    tst_abstractvideothread
    tst_abstractvideowidget
    tst_bannerwidget
    tst_bytering
    tst_countingsemaphore
    tst_d3dconstants
    tst_d3dwidgets
    tst_deviceinterface
    tst_devlivethrset
    tst_embeddedresources
    tst_framequeue
    tst_g711
    tst_g711topcm
    tst_g726topcm
    tst_g7toaac
    tst_hostlookup
    tst_livethreads_badinput
    tst_livevideowidget
    tst_mediadevice_live
    tst_mediadeviceconfig
    tst_mediaproc_damage
    tst_mediatimeline
    tst_nv12d3dwidgets
    tst_nv12shaders
    tst_nv12widget
    tst_openglrenderers
    tst_overlays
    tst_parametersets
    tst_pvprotorecording
    tst_pvprotovideothread
    tst_quihelper
    tst_saveaudio
    tst_savemp4
    tst_savevideo
    tst_standardvideowidget
    tst_xmbelivethread
    tst_xrtalivethread
    tst_xrtavodthread
    tst_yuvwidget)

# What looks at OpenGL inside a picture area, or draws with it for minutes: Wine shows it, and is fast enough, from
# version 10 on.
set(VANTOR_NOT_UNDER_OLD_WINE
    tst_abstractvideowidget
    tst_livevideowidget
    tst_openglrenderers
    tst_overlays
    tst_standardvideowidget)
