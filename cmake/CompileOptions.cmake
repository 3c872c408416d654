# Compile options of all our targets: warnings as errors, and the sanitizers of the preset.
add_library(panelkit_options INTERFACE)
target_include_directories(panelkit_options INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/generated)
target_compile_options(panelkit_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror
    -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
    -Wno-missing-field-initializers # records are filled as far as they differ from their defaults
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wformat=2 -Wundef
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wno-unknown-warning-option>)
target_compile_definitions(panelkit_options INTERFACE
    $<$<OR:$<CONFIG:Debug>,$<NOT:$<BOOL:${WIN32}>>>:_GLIBCXX_ASSERTIONS>
    $<$<BOOL:${WIN32}>:_WIN32_WINNT=0x0A00 WIN32_LEAN_AND_MEAN UNICODE _UNICODE>)

# Sanitizers and hardening apply to everything that is built here, including the packaged test framework.
if(PANELKIT_SANITIZE)
    add_compile_options(-fsanitize=${PANELKIT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${PANELKIT_SANITIZE})
elseif(NOT WIN32)
    add_compile_options($<$<CONFIG:Release>:-fstack-protector-strong> $<$<CONFIG:Release>:-fstack-clash-protection>
                        $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
    if(CMAKE_SYSTEM_PROCESSOR STREQUAL x86_64)
        add_compile_options($<$<CONFIG:Release>:-fcf-protection=full>)
        # The linker sets the mark for a shadow stack only if all objects have it, and Debian's start-up objects do not.
        # They work with a shadow stack. The mark for indirect jumps is not forced: their functions lack the landing
        # instruction, so a system that checks it would end the program at its start.
        add_link_options($<$<CONFIG:Release>:-Wl,-z,shstk>)
    endif()
    add_link_options($<$<CONFIG:Release>:-Wl,-z,relro,-z,now>)
endif()

# Each process adds what it ran to a file of this folder when it ends (scripts/coverage). Tests run several processes at
# once, some of them as other users; the files are shared, so that there are few.
if(PANELKIT_COVERAGE)
    set(PANELKIT_COVERAGE_FOLDER ${CMAKE_BINARY_DIR}/coverage)
    add_compile_options(-fprofile-instr-generate=${PANELKIT_COVERAGE_FOLDER}/%4m.profraw -fcoverage-mapping)
    add_link_options(-fprofile-instr-generate=${PANELKIT_COVERAGE_FOLDER}/%4m.profraw)
endif()

if(PANELKIT_LIBFUZZER)
    add_compile_options(-fsanitize=fuzzer-no-link) # so that the fuzzer sees which way its input takes
endif()

find_package(Threads REQUIRED)
target_link_libraries(panelkit_options INTERFACE Threads::Threads)
