# Runs tdctl on a copy of a fixture installation and compares what the last step printed on
# standard output, and its exit code, with the expected ones. tdctl may write (start-up rewrites a
# damaged head, shutdown saves the date), so the fixture itself is never run on.
#
#   -DTDCTL=path -DDATA=tests/data -DFIXTURE=name -DWORK=scratch folder
#   -DSTEPS="date 15.03.2024|rebuild|totals buyers"  every step but the last must end with 0, or 1
#       where it reports a finding about a damaged file (a rebuild on a count the file can't hold)
#   -DEXIT=code of the last step -DEXPECTED=file of its standard output (HOME for the folder)

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/config" "${WORK}/runtime" "${WORK}/home/data")
file(CHMOD "${WORK}/runtime" DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
# File by file: file(COPY) would skip a damaged copy as old as the file it replaces.
file(GLOB_RECURSE files RELATIVE "${DATA}/installation" "${DATA}/installation/*")
foreach(file IN LISTS files)
    if(NOT file MATCHES "[.]out$")
        file(COPY_FILE "${DATA}/installation/${file}" "${WORK}/home/${file}")
    endif()
endforeach()
if(NOT FIXTURE STREQUAL "installation")
    file(GLOB_RECURSE files RELATIVE "${DATA}/${FIXTURE}" "${DATA}/${FIXTURE}/data/*")
    foreach(file IN LISTS files)
        file(COPY_FILE "${DATA}/${FIXTURE}/${file}" "${WORK}/home/${file}")
    endforeach()
endif()

string(REPLACE "|" ";" steps "${STEPS}")
list(LENGTH steps count)
set(number 0)
foreach(step IN LISTS steps)
    math(EXPR number "${number} + 1")
    separate_arguments(arguments UNIX_COMMAND "${step}")
    # The settings store and the runtime folder of the run are its own.
    execute_process(
        COMMAND ${CMAKE_COMMAND} -E env --unset=TALLY_DEPOT_HOME
                "XDG_CONFIG_HOME=${WORK}/config" "XDG_RUNTIME_DIR=${WORK}/runtime"
                "${TDCTL}" ${arguments} --home "${WORK}/home"
        RESULT_VARIABLE code
        OUTPUT_VARIABLE out
        ERROR_VARIABLE err)
    if(number LESS count AND NOT code EQUAL 0 AND NOT code EQUAL 1)
        message(FATAL_ERROR "tdctl ${step}: exit ${code}\n${out}${err}")
    endif()
endforeach()

string(REPLACE "${WORK}/home" "HOME" out "${out}")
file(READ "${EXPECTED}" expected)
if(NOT code EQUAL EXIT OR NOT out STREQUAL expected)
    message(FATAL_ERROR "tdctl ${step}: exit ${code}, expected ${EXIT}\n"
                        "--- printed:\n${out}--- expected:\n${expected}--- on stderr:\n${err}")
endif()
