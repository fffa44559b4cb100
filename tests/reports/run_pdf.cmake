# tdctl --pdf on a copy of the report fixture: the file is a PDF with one page per 60 rows (with
# pdfinfo at hand, the pages are counted), and a file that can't be written fails with exit 1
# and its reason, leaving nothing behind.
#
#   -DTDCTL=path -DDATA=tests/data -DWORK=scratch folder -DVERB="report full" -DPAGES=n
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/config" "${WORK}/runtime" "${WORK}/home/data")
file(CHMOD "${WORK}/runtime" DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
file(COPY "${DATA}/installation/td.ini" DESTINATION "${WORK}/home")
file(GLOB files "${DATA}/installation/data/*" "${DATA}/reports/data/*")
foreach(file IN LISTS files)
    get_filename_component(name "${file}" NAME)
    file(COPY_FILE "${file}" "${WORK}/home/data/${name}")
endforeach()

function(run_tdctl)
    execute_process(
        COMMAND ${CMAKE_COMMAND} -E env --unset=TALLY_DEPOT_HOME --unset=QT_QPA_PLATFORM
                "XDG_CONFIG_HOME=${WORK}/config" "XDG_RUNTIME_DIR=${WORK}/runtime"
                "${TDCTL}" ${ARGN} --home "${WORK}/home"
        RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
    set(code ${code} PARENT_SCOPE)
    set(out "${out}" PARENT_SCOPE)
    set(err "${err}" PARENT_SCOPE)
endfunction()

run_tdctl(date 15.03.2024)
separate_arguments(verb UNIX_COMMAND "${VERB}")
run_tdctl(${verb} --pdf "${WORK}/out.pdf")
if(NOT code EQUAL 0 OR NOT EXISTS "${WORK}/out.pdf")
    message(FATAL_ERROR "tdctl ${VERB} --pdf: exit ${code}\n${out}${err}")
endif()
if(NOT err MATCHES "wrote ${WORK}/out.pdf" OR NOT out STREQUAL "")
    message(FATAL_ERROR "tdctl ${VERB} --pdf said:\n${out}${err}")
endif()
file(READ "${WORK}/out.pdf" head LIMIT 5)
if(NOT head MATCHES "^%PDF-")
    message(FATAL_ERROR "${WORK}/out.pdf is no PDF: '${head}'")
endif()
find_program(PDFINFO pdfinfo)
if(PDFINFO)
    execute_process(COMMAND ${PDFINFO} "${WORK}/out.pdf" OUTPUT_VARIABLE info)
    if(NOT info MATCHES "Pages: +${PAGES}\n")
        message(FATAL_ERROR "expected ${PAGES} pages:\n${info}")
    endif()
    if(NOT info MATCHES "Page size: +84[12](\\.[0-9]+)? x 595")
        message(FATAL_ERROR "expected an A4 landscape page:\n${info}")
    endif()
endif()

run_tdctl(${verb} --pdf "${WORK}/no such folder/out.pdf")
if(NOT code EQUAL 1 OR NOT err MATCHES "cannot write ${WORK}/no such folder/out.pdf")
    message(FATAL_ERROR "a PDF that can't be written: exit ${code}\n${out}${err}")
endif()
