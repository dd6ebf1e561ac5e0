#include "ravo_daq_writer_2010.h"

#include "record_set.h"

ravo_daq_writer_2010::ravo_daq_writer_2010()
    : raw_writer(ravo::writer::records_of<ravo::raw_format_2010>) {}
