# Writes the version header and text file from `git describe`, touching them only when the text
# changes. Run as a script: SOURCE_DIR, FALLBACK_VERSION, HEADER, VERSION_FILE.
#
# A tag "v1.2.0" reads "1.2.0", three commits later "1.2.0-3-gabc1234"; with no tag reachable the
# project version stands in for it, "0.1.0-gabc1234"; "-dirty" marks uncommitted changes. Outside
# a git checkout (a source tarball) the project version alone.
set(version "${FALLBACK_VERSION}")
find_program(GIT git)
if(GIT)
    execute_process(COMMAND ${GIT} -C ${SOURCE_DIR} describe --tags --always --dirty
                    OUTPUT_VARIABLE described OUTPUT_STRIP_TRAILING_WHITESPACE
                    RESULT_VARIABLE failed ERROR_QUIET)
    if(NOT failed AND described)
        if(described MATCHES "^[0-9a-f]+(-dirty)?$")
            set(version "${FALLBACK_VERSION}-g${described}")
        else()
            string(REGEX REPLACE "^v" "" version "${described}")
        endif()
    endif()
endif()

function(write_if_changed path text)
    set(old "")
    if(EXISTS "${path}")
        file(READ "${path}" old)
    endif()
    if(NOT old STREQUAL text)
        file(WRITE "${path}" "${text}")
    endif()
endfunction()

write_if_changed("${HEADER}" "// Written by the build from git describe; do not edit.
#pragma once

#define LORVAN_BUILD_VERSION \"${version}\"
")
write_if_changed("${VERSION_FILE}" "${version}\n")
