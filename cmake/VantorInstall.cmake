# What a host gets: the shared libraries, the public headers under include/vantor/<folder>/, a CMake package and a
# pkg-config file. Everything is found relative to where these files lie, so the installed folder may be moved.
#
# Three components: Runtime, which programs need to run, Development, which they need to be built, and Viewer.
include(CMakePackageConfigHelpers)

set(VANTOR_PACKAGE_DIR lib/cmake/Vantor)
# What the public headers include.
set(VANTOR_QT_COMPONENTS "Core Gui Widgets OpenGL Multimedia Network")
set(VANTOR_FFMPEG_MODULES "libavformat libavcodec libavutil libswscale libswresample")

# A platform library that another one stands in for brings neither itself nor its headers.
set(VANTOR_INSTALL_TARGETS vantor)
set(VANTOR_HEADER_FOLDERS ${PROJECT_SOURCE_DIR}/src)
foreach(library qttoolkit mediaproc devnet)
    string(TOUPPER ${library} name)
    if(NOT VANTOR_${name}_TARGET)
        list(APPEND VANTOR_HEADER_FOLDERS ${PROJECT_SOURCE_DIR}/platform/${library})
        if(TARGET ${library})
            list(APPEND VANTOR_INSTALL_TARGETS ${library})
        endif()
    endif()
endforeach()
# Direct3D is Windows' alone.
set(VANTOR_HEADERS_LEFT_OUT "")
if(NOT WIN32)
    set(VANTOR_HEADERS_LEFT_OUT core_d3d)
endif()
install(CODE "
    set(VANTOR_HEADERS_LEFT_OUT \"${VANTOR_HEADERS_LEFT_OUT}\")
    set(VANTOR_HEADER_ROOTS \"${PROJECT_SOURCE_DIR}/src;${PROJECT_SOURCE_DIR}/platform\")
    set(VANTOR_HEADER_FOLDERS \"${VANTOR_HEADER_FOLDERS}\")
    set(VANTOR_HEADER_DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_INCLUDEDIR}/vantor\")"
    COMPONENT Development)
install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/VantorInstallHeaders.cmake COMPONENT Development)

# The libraries lie beside each other, so each finds the others in its own folder.
if(NOT WIN32)
    set_target_properties(${VANTOR_INSTALL_TARGETS} PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()
install(TARGETS ${VANTOR_INSTALL_TARGETS} EXPORT VantorTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(EXPORT VantorTargets NAMESPACE Vantor:: DESTINATION ${VANTOR_PACKAGE_DIR} COMPONENT Development)

file(RELATIVE_PATH VANTOR_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "([^ ]+)" "Qt5\\1" VANTOR_PC_REQUIRES ${VANTOR_QT_COMPONENTS})
list(TRANSFORM VANTOR_INSTALL_TARGETS PREPEND "-l" OUTPUT_VARIABLE VANTOR_PC_LIBS)
list(JOIN VANTOR_PC_LIBS " " VANTOR_PC_LIBS)
configure_file(${CMAKE_CURRENT_LIST_DIR}/vantor.pc.in ${PROJECT_BINARY_DIR}/vantor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vantor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VantorConfig.cmake.in ${PROJECT_BINARY_DIR}/VantorConfig.cmake
    INSTALL_DESTINATION ${VANTOR_PACKAGE_DIR} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VantorConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VantorConfig.cmake ${PROJECT_BINARY_DIR}/VantorConfigVersion.cmake
    DESTINATION ${VANTOR_PACKAGE_DIR} COMPONENT Development)
