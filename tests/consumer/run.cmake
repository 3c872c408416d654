# Installs the build into a folder of its own, builds the consumer against it, and runs what was installed.
#   cmake -DBUILD=<build folder> -DSOURCE=<source folder> -DCOMPILER=<c++> [-DLAUNCHER=<ccache>] -P run.cmake
set(work ${BUILD}/consumer)
file(REMOVE_RECURSE ${work})

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

foreach(component library development service frontend)
    run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${work}/first --component ${component})
endforeach()
file(RENAME ${work}/first ${work}/installed) # nothing may depend on where it was installed

run(${CMAKE_COMMAND} -S ${SOURCE}/tests/consumer -B ${work}/build -G Ninja -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
    -DCMAKE_PREFIX_PATH=${work}/installed -DEXAMPLE=${SOURCE}/docs/examples/list_tokens.cpp)
run(${CMAKE_COMMAND} --build ${work}/build)

set(ENV{PANELKIT_BRIDGE} /nobody/serves/this)
execute_process(COMMAND ${work}/build/list_tokens RESULT_VARIABLE status ERROR_VARIABLE error)
if(NOT status EQUAL 1 OR NOT error MATCHES "the service isn't running")
    message(FATAL_ERROR "the example ends with ${status}: ${error}")
endif()
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
