# tdctl's reports on the report fixture, against the outputs worked out for it by
# tests/data/make_report_fixtures.py. Included where td_fixture_test is defined.
set(td_report_date "date ${TD_FIXTURE_DATE}")
set(td_period "--period 01.03.2024 15.03.2024")
foreach(kind full sales redemptions left)
    td_fixture_test(reports ${kind} "${td_report_date}|report ${kind}" 0)
endforeach()
foreach(kind full sales redemptions)
    # The period given backwards: the same report.
    td_fixture_test(reports ${kind}-period
        "${td_report_date}|report ${kind} --period 15.03.2024 01.03.2024" 0)
endforeach()
td_fixture_test(reports sales-csv "${td_report_date}|report sales --csv" 0)
td_fixture_test(reports stats-station "${td_report_date}|stats station 1 1" 0)
td_fixture_test(reports stats-station-period "${td_report_date}|stats station 1 А-92 ${td_period}" 0)
td_fixture_test(reports stats-buyer "${td_report_date}|stats buyer 1:00010:00101 1" 0)
td_fixture_test(reports stats-buyer-period
    "${td_report_date}|stats buyer 1:00010:00101 1 ${td_period}" 0)
td_fixture_test(reports stats-buyer-level3 "${td_report_date}|stats buyer 1:00010:00101:00050 ДТ" 0)
td_fixture_test(reports stats-buyer-dates "${td_report_date}|stats buyer 1:00010:00102 ДТ" 0)
td_fixture_test(reports stats-buyer-mask "${td_report_date}|stats buyer 1:00010:00101:00050 1" 0)
td_fixture_test(reports ticket-redeemed "${td_report_date}|ticket 100002 --fuel 1 --volume 20" 0)
td_fixture_test(reports ticket-sold "${td_report_date}|ticket 100003 --fuel ДТ --volume 10" 0)
td_fixture_test(reports ticket-same-number "${td_report_date}|ticket 100001 --fuel 3 --volume 10" 0)
td_fixture_test(reports ticket-deleted "${td_report_date}|ticket 100011 --fuel 3 --volume 10" 1)
td_fixture_test(reports liability "${td_report_date}|report liability" 0)
# A level 1 company coded above 100 stops every report of the family; nothing is printed.
foreach(kind full sales left)
    td_fixture_test(reports_bad_group ${kind} "${td_report_date}|report ${kind}" 1
        reports/empty.out)
endforeach()
# --pdf: every page through the printer's drawing code, into a file.
foreach(case "report full|1" "stats buyer 1:00010:00101 1|1")
    string(REPLACE "|" ";" parts "${case}")
    list(GET parts 0 verb)
    list(GET parts 1 pages)
    string(REPLACE " " "_" label "${verb}")
    add_test(NAME reports.pdf.${label}
        COMMAND ${CMAKE_COMMAND} -DTDCTL=$<TARGET_FILE:tdctl>
                -DDATA=${CMAKE_CURRENT_SOURCE_DIR}/data
                -DWORK=${CMAKE_CURRENT_BINARY_DIR}/fixtures/pdf.${label}
                "-DVERB=${verb}" -DPAGES=${pages}
                -P ${CMAKE_CURRENT_SOURCE_DIR}/reports/run_pdf.cmake)
endforeach()
# The report verbs' own black-box tests copy the report fixture from here.
target_compile_definitions(tdctl_tests PRIVATE TD_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data")
