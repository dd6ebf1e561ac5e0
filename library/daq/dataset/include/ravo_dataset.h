// The dataset layer, whole: any event, any column of any number of raw files. docs/dataset.md teaches it.
#ifndef RAVO_DATASET_H
#define RAVO_DATASET_H

#include "ravo_dataset/availability.h"
#include "ravo_dataset/block_place.h"
#include "ravo_dataset/column.h"
#include "ravo_dataset/column_chunks.h"
#include "ravo_dataset/dataset.h"
#include "ravo_dataset/describe.h"
#include "ravo_dataset/digest.h"
#include "ravo_dataset/envelope.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/event.h"
#include "ravo_dataset/find_files.h"
#include "ravo_dataset/histogram.h"
#include "ravo_dataset/index.h"
#include "ravo_dataset/ledger.h"
#include "ravo_dataset/manifest.h"
#include "ravo_dataset/member_names.h"
#include "ravo_dataset/near_names.h"
#include "ravo_dataset/partition.h"
#include "ravo_dataset/plan.h"
#include "ravo_dataset/progress.h"
#include "ravo_dataset/selection.h"
#include "ravo_dataset/single_pass_iterator.h"
#include "ravo_dataset/statistics.h"
#include "ravo_dataset/status.h"
#include "ravo_dataset/time_grammar.h"
#include "ravo_dataset/time_zone.h"
#include "ravo_dataset/value_digest.h"
#include "ravo_dataset/values.h"

#endif
