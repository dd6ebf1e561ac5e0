// The loader of the older generation.
#include "loader/file_get_tables.hh"
#include "loader/header_baskets.hh"
#include "loader/load_tables.hh"
#include "ravo_daq_read_chan.h"

template class ravo::file_get_tables<ravo::generation_2009>;
