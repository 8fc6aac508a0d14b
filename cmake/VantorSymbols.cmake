# vantor_keep_symbols_inside(<shared library>): it exports what is marked for export and nothing else.
#
# A library stays mapped for ever, and its resources with it, when it has unique symbols or when one of its dependencies
# was bound to a symbol of it.
function(vantor_keep_symbols_inside target)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
    endif()
    if(UNIX AND NOT APPLE)
        set(map ${PROJECT_SOURCE_DIR}/cmake/hidden-symbols.map)
        target_link_options(${target} PRIVATE -Wl,--version-script=${map})
        set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
    endif()
endfunction()
