# Run by the install: writes doc/lorvan/changelog.gz, one Debian changelog entry for the version
# this build read from git (lorvan_version_file), with its hyphens as plus signs as in the
# package's version. Set before it runs: lorvan_version_file, lorvan_doc_dir, lorvan_maintainer.
file(STRINGS "${lorvan_version_file}" version LIMIT_COUNT 1)
string(REPLACE "-" "+" version "${version}")
# Now, or SOURCE_DATE_EPOCH when the environment sets it for a reproducible package.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE "${lorvan_doc_dir}/changelog" "lorvan (${version}) unstable; urgency=medium

  * Built from the Lorvan sources at ${version}.

 -- ${lorvan_maintainer}  ${date}
")
find_program(GZIP gzip REQUIRED)
execute_process(COMMAND "${GZIP}" -9nf "${lorvan_doc_dir}/changelog" RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "gzip failed for ${lorvan_doc_dir}/changelog")
endif()
message(STATUS "Installing: ${lorvan_doc_dir}/changelog.gz")
