# Makes po/panelctl.pot from the sources, in which the texts stand where they are used:
#
#   cmake -DXGETTEXT=... -DROOT=... -P ExtractTexts.cmake [check]
#
# With "check" it fails when the file is stale, and writes nothing. Line numbers of the sources are left out of the file,
# or it would be stale after every edit.
math(EXPR last "${CMAKE_ARGC} - 1")
set(template ${ROOT}/po/panelctl.pot)
file(GLOB_RECURSE sources RELATIVE ${ROOT} ${ROOT}/panelctl/*.cpp ${ROOT}/panelctl/*.h)
list(SORT sources)
execute_process(
    COMMAND ${XGETTEXT} --language=C++ --from-code=UTF-8 --omit-header --no-wrap --add-location=file
            --keyword= --keyword=say --keyword=sayPlural:1,2 --keyword=N_
            --flag=say:1:c-format --flag=sayPlural:1:c-format --flag=sayPlural:2:c-format --flag=N_:1:c-format
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
