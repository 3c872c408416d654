# Compiles a translation and seals it: cmake -DMSGFMT=... -DPO=... -DMO=... -P CompileCatalogue.cmake
# The seal, a line with the POSIX cksum of what precedes it, lets the loader find any damage.
set(unsealed ${MO}.unsealed)
execute_process(COMMAND ${MSGFMT} --check --output-file=${unsealed} ${PO} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND cksum INPUT_FILE ${unsealed} OUTPUT_VARIABLE sum COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCH "^[0-9]+" sum "${sum}")
while(sum MATCHES "^.?.?.?.?.?.?.?.?.?$")
    string(PREPEND sum 0)
endwhile()
file(APPEND ${unsealed} "cksum ${sum}\n")
file(RENAME ${unsealed} ${MO})
