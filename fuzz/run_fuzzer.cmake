# run_fuzzer.cmake - one bounded libFuzzer run for CTest.
#
# cmake -DEXE=<target> -DCORPUS=<seed folder> -DSCRATCH=<work folder>
#       -DSECONDS=<n> -P run_fuzzer.cmake
# The seeds are copied to SCRATCH/corpus (emptied first) and the target runs
# for SECONDS with one job; new inputs and crash files stay in SCRATCH. The
# run fails when the target reports a crash, a leak, a timeout or a failed
# check.
foreach(v EXE CORPUS SCRATCH SECONDS)
  if(NOT DEFINED ${v})
    message(FATAL_ERROR "run_fuzzer.cmake: ${v} not set")
  endif()
endforeach()
file(REMOVE_RECURSE ${SCRATCH})
file(MAKE_DIRECTORY ${SCRATCH}/corpus ${SCRATCH}/artifacts)
file(GLOB seeds ${CORPUS}/*)
if(seeds)
  file(COPY ${seeds} DESTINATION ${SCRATCH}/corpus)
endif()
execute_process(
  COMMAND ${EXE} -max_total_time=${SECONDS} -timeout=10 -rss_limit_mb=2048 -max_len=4096
          -print_final_stats=1 -artifact_prefix=${SCRATCH}/artifacts/ ${SCRATCH}/corpus
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${EXE} failed (${rc}); inputs in ${SCRATCH}/artifacts")
endif()
