#include "ravo_daq_writer.h"

#include "record_set.h"

ravo_daq_writer::ravo_daq_writer() : raw_writer(ravo::writer::records_of<ravo::raw_format_2009>) {}
