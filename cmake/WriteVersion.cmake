string(TIMESTAMP BUILD_DATE "%Y-%m-%d" UTC) # honours SOURCE_DATE_EPOCH
configure_file(${TEMPLATE} ${OUTPUT} @ONLY)
