# Finds IFC++ (Debian's libifcplusplus-dev), which ships no CMake or
# pkg-config file. Defines IfcPlusPlus::IfcPlusPlus: the STEP reader and
# IFC4 entity model (libIfcPlusPlus) and the Carve library its geometry
# converter, header code, is built on. The headers need Boost's, which the
# package does not pull in.
find_path(IFCPLUSPLUS_INCLUDE_DIR ifcpp/reader/ReaderSTEP.h)
find_path(IFCPLUSPLUS_CARVE_INCLUDE_DIR carve/carve.hpp)
find_path(IFCPLUSPLUS_BOOST_INCLUDE_DIR boost/unordered_map.hpp)
find_library(IFCPLUSPLUS_LIBRARY IfcPlusPlus PATH_SUFFIXES ifcplusplus)
find_library(IFCPLUSPLUS_CARVE_LIBRARY carve PATH_SUFFIXES ifcplusplus)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(IfcPlusPlus REQUIRED_VARS IFCPLUSPLUS_LIBRARY IFCPLUSPLUS_CARVE_LIBRARY
  IFCPLUSPLUS_INCLUDE_DIR IFCPLUSPLUS_CARVE_INCLUDE_DIR IFCPLUSPLUS_BOOST_INCLUDE_DIR)

if(IfcPlusPlus_FOUND AND NOT TARGET IfcPlusPlus::IfcPlusPlus)
  add_library(IfcPlusPlus::Carve UNKNOWN IMPORTED)
  set_target_properties(IfcPlusPlus::Carve PROPERTIES IMPORTED_LOCATION ${IFCPLUSPLUS_CARVE_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${IFCPLUSPLUS_CARVE_INCLUDE_DIR})
  add_library(IfcPlusPlus::IfcPlusPlus UNKNOWN IMPORTED)
  # Never ENABLE_OPENMP: the library is built without it, and it changes
  # class layouts.
  set_target_properties(IfcPlusPlus::IfcPlusPlus PROPERTIES IMPORTED_LOCATION ${IFCPLUSPLUS_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES "${IFCPLUSPLUS_INCLUDE_DIR};${IFCPLUSPLUS_BOOST_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES IfcPlusPlus::Carve)
  get_filename_component(IFCPLUSPLUS_LIBRARY_DIR ${IFCPLUSPLUS_LIBRARY} DIRECTORY)
endif()
mark_as_advanced(IFCPLUSPLUS_INCLUDE_DIR IFCPLUSPLUS_CARVE_INCLUDE_DIR IFCPLUSPLUS_BOOST_INCLUDE_DIR
  IFCPLUSPLUS_LIBRARY IFCPLUSPLUS_CARVE_LIBRARY)
