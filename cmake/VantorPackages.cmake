# Debian packages of what is installed, made by "cpack" in the build folder: the libraries, what a host is built with, and
# the viewer. What the libraries link decides what they depend on.
if(NOT VANTOR_IS_TOP_LEVEL)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vantor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The libvantor developers <vantor@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL Runtime Development)
if(VANTOR_BUILD_APPS)
    list(APPEND CPACK_COMPONENTS_ALL Viewer)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}) # the libraries know each other
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvantor${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The shared libraries.")
# Sound comes through plug-ins, which nothing links, and capture devices through a library that is loaded when it is needed.
string(REGEX MATCH "^[0-9]+" avdevice_major "${AvDevice_VERSION}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libqt5multimedia5-plugins, libavdevice${avdevice_major}")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvantor-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, the CMake package and the pkg-config file.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libvantor${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), qtbase5-dev, libqt5opengl5-dev, qtmultimedia5-dev, libavformat-dev, libavcodec-dev, libavutil-dev, libswscale-dev, libswresample-dev, pkg-config")

set(CPACK_DEBIAN_VIEWER_PACKAGE_NAME vantor-viewer)
set(CPACK_DEBIAN_VIEWER_PACKAGE_SECTION video)
set(CPACK_COMPONENT_VIEWER_DESCRIPTION "The viewer: live video in a grid, recording, playback and download.")
set(CPACK_DEBIAN_VIEWER_PACKAGE_DEPENDS "libvantor${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_VIEWER_PACKAGE_RECOMMENDS qttranslations5-l10n)

include(CPack)
