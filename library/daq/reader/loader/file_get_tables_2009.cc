// The loader of the older generation.
#include "loader/file_get_tables-inl.h"
#include "loader/header_baskets-inl.h"
#include "loader/load_tables-inl.h"
#include "ravo_daq_read_chan.h"

template class ravo::file_get_tables<ravo::generation_2009>;
