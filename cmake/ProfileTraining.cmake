# Runs every program of PROGRAMS through the instrumented VELMARLUA, after clearing the last profile in
# PROFILE, so the profile describes exactly one pass over the programs.
file(REMOVE_RECURSE ${PROFILE})
file(GLOB programs ${PROGRAMS}/*.lua)
foreach(program IN LISTS programs)
    get_filename_component(name ${program} NAME_WE)
    message(STATUS "profile training: ${name}")
    execute_process(COMMAND ${VELMARLUA} ${program} WORKING_DIRECTORY ${PROGRAMS}
        RESULT_VARIABLE status OUTPUT_QUIET)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "profile training: ${name} failed (${status})")
    endif()
endforeach()
