# Installs the build into a folder of its own, builds the consumer against it, and runs what was installed.
#   cmake -DBUILD=<build folder> -DSOURCE=<source folder> [-DLAUNCHER=<ccache>] -P run.cmake
set(work ${BUILD}/consumer)
file(REMOVE_RECURSE ${work})

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

foreach(component library development testing service frontend documentation)
    run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${work}/first --component ${component})
endforeach()
file(RENAME ${work}/first ${work}/installed) # nothing may depend on where it was installed

# By CMake, with two compilers.
set(examples ${work}/installed/share/doc/panelkit/examples)
foreach(compiler g++ clang++)
    run(${CMAKE_COMMAND} -S ${SOURCE}/tests/consumer -B ${work}/${compiler} -G Ninja -DCMAKE_CXX_COMPILER=${compiler}
        -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} -DCMAKE_PREFIX_PATH=${work}/installed -DEXAMPLES=${examples})
    run(${CMAKE_COMMAND} --build ${work}/${compiler})
endforeach()

# By pkg-config.
file(GLOB_RECURSE pc ${work}/installed/panelkit.pc)
cmake_path(GET pc PARENT_PATH pc_folder)
set(ENV{PKG_CONFIG_PATH} ${pc_folder})
execute_process(COMMAND pkg-config --cflags --libs panelkit OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND ${flags})
run(g++ -std=c++20 ${examples}/list_tokens.cpp -o ${work}/by_pkg_config ${flags})

# An older standard is refused, with the reason first.
execute_process(COMMAND g++ -std=c++17 -fsyntax-only ${examples}/list_tokens.cpp ${flags} RESULT_VARIABLE status ERROR_VARIABLE error)
if(status EQUAL 0 OR NOT error MATCHES "error: #error \"panelkit needs C\\+\\+20: compile with -std=c\\+\\+20\"")
    message(FATAL_ERROR "C++17 is not refused: ${error}")
endif()

set(ENV{PANELKIT_BRIDGE} /nobody/serves/this)
foreach(example list_tokens event_loop)
    execute_process(COMMAND ${work}/g++/${example} RESULT_VARIABLE status ERROR_VARIABLE error)
    if(NOT status EQUAL 1 OR NOT error MATCHES "the service isn't running")
        message(FATAL_ERROR "${example} ends with ${status}: ${error}")
    endif()
endforeach()
foreach(compiler g++ clang++)
    run(${work}/${compiler}/test_a_front_end)
endforeach()
foreach(file share/man/man1/panelctl.1 share/man/man8/panelkitd.8 share/bash-completion/completions/panelctl
             share/zsh/site-functions/_panelctl)
    file(SIZE ${work}/installed/${file} size) # it must be there
    if(size LESS 100)
        message(FATAL_ERROR "${file} is empty")
    endif()
endforeach()
foreach(program sbin/panelkitd bin/panelctl)
    run(${work}/installed/${program} --version)
endforeach()
