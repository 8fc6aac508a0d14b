# Qt, FFmpeg and FAAC. docs/dependencies.md says what each is used for.
find_package(Qt5 5.15 REQUIRED COMPONENTS Core Gui Widgets OpenGL Multimedia Network Svg)

find_package(PkgConfig REQUIRED)
pkg_check_modules(FFmpeg REQUIRED IMPORTED_TARGET
    libavformat>=58 libavcodec>=58 libavutil>=56 libswscale>=5 libswresample>=3)

# Loaded when the first capture device is asked for, and so not linked: it brings some sixty other libraries along.
pkg_check_modules(AvDevice REQUIRED libavdevice>=58)

find_path(FAAC_INCLUDE_DIR faac.h)
find_library(FAAC_LIBRARY faac)
if(NOT FAAC_INCLUDE_DIR OR NOT FAAC_LIBRARY)
    message(FATAL_ERROR "FAAC (faac.h, libfaac) was not found; tools/setup installs it")
endif()
add_library(Vantor_FAAC INTERFACE)
target_include_directories(Vantor_FAAC INTERFACE ${FAAC_INCLUDE_DIR})
target_link_libraries(Vantor_FAAC INTERFACE ${FAAC_LIBRARY})
