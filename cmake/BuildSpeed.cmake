# Makes builds faster without changing their results.

# A compiler cache, if one is installed.
find_program(CCACHE ccache)
if(CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${PROJECT_SOURCE_DIR}/scripts/ccache)
    # A precompiled header then depends only on its sources.
    add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess>
                        "$<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endif()

# Programs are not linked again when a shared library that they use changes.
set(CMAKE_LINK_DEPENDS_NO_SHARED ON)

# panelkit_precompiled(<name> PROGRAMS|LIBRARIES HEADERS <header>... [LINK <target>...])
#
# Third-party headers, compiled once: target_precompile_headers(<target> REUSE_FROM <name>). Sources must still include
# what they use: the release build has no precompiled headers (CMAKE_DISABLE_PRECOMPILE_HEADERS) and fails otherwise.
function(panelkit_precompiled name kind)
    cmake_parse_arguments(ARG "" "" "HEADERS;LINK" ${ARGN})
    set(source ${PROJECT_BINARY_DIR}/generated/precompiled.cpp)
    if(kind STREQUAL PROGRAMS) # their code is compiled for another kind of address than that of libraries
        file(CONFIGURE OUTPUT ${source} CONTENT "int main() {}\n")
        add_executable(${name} EXCLUDE_FROM_ALL ${source})
    else()
        file(CONFIGURE OUTPUT ${source} CONTENT "")
        add_library(${name} OBJECT EXCLUDE_FROM_ALL ${source})
    endif()
    target_link_libraries(${name} PRIVATE panelkit_options ${ARG_LINK})
    target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
endfunction()
