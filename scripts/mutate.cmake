# Included after project(): has the sources of the library compiled one by one, whatever is said of others.
cmake_language(DEFER CALL set_target_properties BRAQAudio_objects PROPERTIES UNITY_BUILD OFF)
