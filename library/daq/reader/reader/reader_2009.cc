// The reader of the older generation, made from the parts that it shares with the current one.
#include "ravo_daq_reader.h"

#include "reader/channels.hh"
#include "reader/data_paths.hh"
#include "reader/edge_files.hh"
#include "reader/file_registry.hh"
#include "reader/inspection.hh"
#include "reader/local_scan.hh"
#include "reader/print_lists.hh"
#include "reader/queries.hh"
#include "reader/reader_texts.h"
#include "reader/request_check.hh"
#include "reader/request_init.hh"
#include "reader/retrieval.hh"
#include "reader/run_window.hh"
#include "reader/settings.hh"
#include "reader/start.hh"
#include "reader/time_period.hh"

template class ravo::daq_reader<ravo::generation_2009>;
