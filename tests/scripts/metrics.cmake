get_target_property(HAS_METRICS hwprobe HAS_METRICS)
if(HAS_METRICS)
  # The most memory in mebibytes: what the sanitizers keep is far more than the server's own.
  python_test(metrics tool/metrics_test.py $<TARGET_FILE:hwprobe> "${PROJECT_SOURCE_DIR}"
    $<IF:$<BOOL:${HWPROBE_SANITIZE}>,512,64>)
endif()
