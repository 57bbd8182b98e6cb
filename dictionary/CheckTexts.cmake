# Writes the plugin's translatable texts with lupdate, by context and without
# source locations, and compares them with the template translators start from
# (texts.ts); run with -DUPDATE=ON to write the template instead.
#   cmake -DLUPDATE=... -DSOURCE=<project> -DOUT=<file> -P CheckTexts.cmake
set(template ${CMAKE_CURRENT_LIST_DIR}/texts.ts)
# A sorted list: lupdate keeps the texts in the order it reads the files.
file(GLOB_RECURSE sources ${SOURCE}/client/*.cpp ${SOURCE}/client/*.h ${SOURCE}/dictionary/*.cpp
     ${SOURCE}/dictionary/*.h ${SOURCE}/views/*.cpp ${SOURCE}/views/*.h)
list(SORT sources)
file(REMOVE ${OUT})
execute_process(COMMAND ${LUPDATE} -silent -locations none -no-obsolete ${sources} -ts ${OUT} RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "lupdate failed")
endif()
if(UPDATE)
  file(COPY_FILE ${OUT} ${template})
  return()
endif()
file(READ ${OUT} written)
file(READ ${template} kept)
if(NOT written STREQUAL kept)
  message(FATAL_ERROR "${template} is out of date: run cmake -DLUPDATE=${LUPDATE} -DSOURCE=${SOURCE} "
                      "-DOUT=${OUT} -DUPDATE=ON -P ${CMAKE_CURRENT_LIST_FILE}")
endif()
