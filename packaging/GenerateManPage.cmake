# Writes a program's gzipped man page with help2man from the program's own --help and --version,
# so the page cannot drift from the program. A program with subcommands gets a COMMANDS section
# holding each subcommand's --help, the subcommands read from the "Subcommands:" list of --help.
# Run as a script: PROGRAM, NAME (the one-line description), OUTPUT (the .1.gz file), WORK_DIR.
find_program(HELP2MAN help2man REQUIRED)
find_program(GZIP gzip REQUIRED)
file(MAKE_DIRECTORY "${WORK_DIR}")
get_filename_component(program_name "${PROGRAM}" NAME)

execute_process(COMMAND "${PROGRAM}" --help OUTPUT_VARIABLE help RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "${PROGRAM} --help failed: ${failed}")
endif()

# roff takes a backslash as an escape and a line starting with . or ' as a request.
function(roff_escaped text out)
    string(REPLACE "\\" "\\e" text "${text}")
    string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

set(include_text "")
string(REGEX MATCH "\nSubcommands:\n(([ ]+[^\n]*\n?)+)" subcommand_block "${help}")
if(subcommand_block)
    string(REGEX MATCHALL "\n  [a-z][a-z0-9-]*" names "\n${CMAKE_MATCH_1}")
    set(include_text "[COMMANDS]\n")
    foreach(name IN LISTS names)
        string(STRIP "${name}" name)
        execute_process(COMMAND "${PROGRAM}" ${name} --help OUTPUT_VARIABLE command_help RESULT_VARIABLE failed)
        if(failed)
            message(FATAL_ERROR "${PROGRAM} ${name} --help failed: ${failed}")
        endif()
        string(STRIP "${command_help}" command_help)
        roff_escaped("${command_help}" command_help)
        string(APPEND include_text ".SS \"${program_name} ${name}\"\n.nf\n${command_help}\n.fi\n")
    endforeach()
endif()
# help2man refuses an include file without sections, so a program without subcommands gets none.
set(include_options "")
if(include_text)
    set(include_file "${WORK_DIR}/${program_name}.h2m")
    file(WRITE "${include_file}" "${include_text}")
    set(include_options --include "${include_file}")
endif()

set(page "${WORK_DIR}/${program_name}.1")
execute_process(COMMAND "${HELP2MAN}" --no-info --section 1 --name "${NAME}" ${include_options}
                        --output "${page}" "${PROGRAM}"
                RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "help2man failed for ${PROGRAM}")
endif()
# -n: no name or time stamp in the header, so the same page gives the same bytes.
execute_process(COMMAND "${GZIP}" -9nc "${page}" OUTPUT_FILE "${OUTPUT}" RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "gzip failed for ${page}")
endif()
