# Makes po/panelctl.pot from the texts in the sources: those of panelctl, and those that the service and the bridge send
# as wordings with arguments.
#
#   cmake -DXGETTEXT=... -DROOT=... -P ExtractTexts.cmake [check]
#
# With "check" it fails when the file is stale, and writes nothing. The file has no line numbers of the sources; with
# them it would be stale after every edit.
math(EXPR last "${CMAKE_ARGC} - 1")
set(template ${ROOT}/po/panelctl.pot)
set(patterns panelctl/*.cpp panelctl/*.h service/*.cpp service/*.h platform/bridge/*.cpp platform/bridge/*.h vocabulary/*.h
             panelkit/lparams/sections/section_body.cpp)
list(TRANSFORM patterns PREPEND ${ROOT}/)
file(GLOB_RECURSE sources RELATIVE ${ROOT} ${patterns})
list(SORT sources)
# Every function that takes a wording, and the position of that argument.
set(keywords)
set(flags)
foreach(taker say:1 sayPlural:1,2 N_:1 makePhrase:1 remark:2 RefusedError:2 DeniedError:1 ParseError:2)
    list(APPEND keywords --keyword=${taker})
    string(REGEX REPLACE ":.*" "" name ${taker})
    string(REGEX REPLACE ".*:" "" places ${taker})
    string(REPLACE "," ";" places ${places})
    foreach(place IN LISTS places)
        list(APPEND flags --flag=${name}:${place}:c-format)
    endforeach()
endforeach()
execute_process(
    COMMAND ${XGETTEXT} --language=C++ --from-code=UTF-8 --omit-header --no-wrap --add-location=file
            --keyword= ${keywords} ${flags}
            --output=- ${sources}
    WORKING_DIRECTORY ${ROOT}
    OUTPUT_VARIABLE texts
    COMMAND_ERROR_IS_FATAL ANY)
string(CONCAT made [[
# Texts of panelctl. Made by the build target update_template; translations are merged with msgmerge.
# Blanks and line feeds that begin or end a text, and everything with a %, must be kept.
#, fuzzy
msgid ""
msgstr ""
"Project-Id-Version: panelkit\n"
"PO-Revision-Date: YEAR-MO-DA HO:MI+ZONE\n"
"Last-Translator: FULL NAME <EMAIL@ADDRESS>\n"
"Language-Team: LANGUAGE\n"
"Language: \n"
"MIME-Version: 1.0\n"
"Content-Type: text/plain; charset=UTF-8\n"
"Content-Transfer-Encoding: 8bit\n"
"Plural-Forms: nplurals=INTEGER; plural=EXPRESSION;\n"

]] "${texts}")
if("${CMAKE_ARGV${last}}" STREQUAL "check")
    file(READ ${template} stored)
    if(NOT stored STREQUAL made)
        message(FATAL_ERROR "po/panelctl.pot is stale: build the target update_template")
    endif()
else()
    file(WRITE ${template} "${made}")
endif()
