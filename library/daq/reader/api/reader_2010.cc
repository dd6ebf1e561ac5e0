// The reader of the current generation, made from the parts that both generations share.
#include "ravo_daq_reader_2010.h"

#include "api/channels-inl.h"
#include "api/data_paths-inl.h"
#include "api/edge_files-inl.h"
#include "api/file_registry-inl.h"
#include "api/inspection-inl.h"
#include "api/local_scan-inl.h"
#include "api/print_lists-inl.h"
#include "api/queries-inl.h"
#include "api/reader_texts.h"
#include "api/request_check-inl.h"
#include "api/request_init-inl.h"
#include "api/retrieval-inl.h"
#include "api/run_window-inl.h"
#include "api/settings-inl.h"
#include "api/start-inl.h"
#include "api/time_period-inl.h"

template class ravo::daq_reader<ravo::generation_2010>;
