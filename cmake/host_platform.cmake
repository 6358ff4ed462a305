# The host platform of a target image in place of the stand-alone one: headers in include/, libraries in lib/ of
# QM_PLATFORM_DIR.

find_package(Boost 1.74 REQUIRED COMPONENTS log)
find_library(QM_PLATFORM_LIBRARY slrealtime_platform PATHS "${QM_PLATFORM_DIR}/lib" NO_DEFAULT_PATH REQUIRED)

add_library(slrealtime_platform SHARED IMPORTED GLOBAL)
# Linked by its name: the path of a library without a soname would have to be the same on the target.
set_target_properties(slrealtime_platform PROPERTIES IMPORTED_LOCATION "${QM_PLATFORM_LIBRARY}" IMPORTED_NO_SONAME TRUE)
target_include_directories(slrealtime_platform INTERFACE "${QM_PLATFORM_DIR}/include")
target_compile_definitions(slrealtime_platform INTERFACE BOOST_LOG_DYN_LINK)
target_link_libraries(slrealtime_platform INTERFACE Boost::log)

# Some images keep model information and start callbacks in a library of their own.
find_library(QM_PLATFORM_MODEL_LIBRARY slrealtime_model PATHS "${QM_PLATFORM_DIR}/lib" NO_DEFAULT_PATH)
if(QM_PLATFORM_MODEL_LIBRARY)
    add_library(slrealtime_model SHARED IMPORTED GLOBAL)
    set_target_properties(slrealtime_model PROPERTIES IMPORTED_LOCATION "${QM_PLATFORM_MODEL_LIBRARY}" IMPORTED_NO_SONAME TRUE)
    target_link_libraries(slrealtime_platform INTERFACE slrealtime_model)
endif()
