// Raw files of an accelerator that does not exist, with known content: the same settings give the same
// bytes on every machine. For tests of programs that read raw files, and to try them without data. Nothing
// is printed. It uses the writer; to write data of your own, use that (ravo_daq_writer_2010.h).
#ifndef RAVO_SIMULATOR_H
#define RAVO_SIMULATOR_H

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "ravo_daq_writer_2010.h"
#include "ravo_file_generation.h"

namespace ravo {

/// How many channels of each kind there are, 0 to 10,000 each. In addition there are always six special
/// ones: LINAC/BPM/HALF_RATE, LINAC/TOROID/GAPS, LINAC/RF/LATE (from the second file of a run on),
/// LINAC/TOROID/SPARE (without data), LINAC/RUN/BEGIN and LINAC/RUN/END.
struct simulated_channels {
  int bpms = 10;         ///< beam position monitors: x, y and charge of 64 bunches
  int toroids = 4;       ///< charge of 64 bunches
  int rfs = 4;           ///< cavities: amplitude and phase, 512 samples each
  int spectra = 2;       ///< photon spectra in three groups, with means and statistics
  int energies = 1;      ///< beam energy: one scalar
  int cameras = 1;       ///< plain frames, one byte a pixel
  int cameras_ext = 1;   ///< extended frames, two bytes a pixel
  int profiles = 1;      ///< the two profiles of a region of interest
  int slows = 4;         ///< magnet currents, recorded when they change
  int environments = 3;  ///< temperatures, every ten pulses
  int statuses = 1;      ///< name-value pairs, every five pulses
  int messages = 1;      ///< texts, every twenty pulses

  /// With the six special ones.
  int total() const;
};

/// The smallest total that can be distributed among the kinds.
inline constexpr int fewest_simulated_channels = 20;
/// Counts that make `total` channels together with the six special ones. `total` is at least
/// fewest_simulated_channels.
simulated_channels distribute_channels(int total);

/// When the machine runs.
struct simulated_clock {
  double rate = 10.0;                     ///< pulses a second, 0.01 to 1,000
  time_stamp start{1'740'816'000u, 0};    ///< of the first event, UTC: 2025-03-01T08:00:00Z
  std::uint32_t first_event = 1'000'000;  ///< event number of the first pulse, at least 1
};

/// A damage that is done to a file on purpose.
struct simulated_fault {
  std::string kind;  ///< one of simulated_fault_kinds()
  int file = 1;      ///< counted from 1 over all runs
};

struct simulated_fault_kind {
  const char* name;
  const char* what;  ///< what is done to the file, for people
};
/// All kinds, by what is damaged.
std::vector<simulated_fault_kind> simulated_fault_kinds();

/// What is simulated. A run is a pulse for its begin, files x events pulses with beam, and a pulse for its
/// end.
struct simulation {
  std::uint64_t seed = 1;
  int first_run = 1;  ///< at least 1
  int runs = 1;
  int files = 2;     ///< of a run
  int events = 100;  ///< pulses with beam in one file
  simulated_clock clock;
  simulated_channels counts;
  std::optional<ravo_compression> compression;  ///< `nullopt`: zlib, none and LZO in turn
  int zlib_level = 6;                           ///< 1 to 9
  std::string folder;                           ///< for the files; it is made if it does not exist
  std::string experiment = "linac";             ///< first part of the file names
  std::string stream = "main";                  ///< second part of the file names
  ravo_file_generation generation = ravo_file_generation::current;
  /// At most one for each file. Beside a damaged FILE stands FILE.expected.json, with what verify() has to
  /// find in it; what belongs to no file is in FOLDER/all.expected.json.
  std::vector<simulated_fault> faults;
  /// Path of the answer key: a JSON line for each block that was written, as every reader returns it, with
  /// the CRC-32 of its bytes. Empty: none is written.
  std::string answer_key;
};

struct simulated_file {
  std::string path;
  std::optional<std::uint64_t> bytes;  ///< `nullopt`: removed, because the fault is that it is missing
};

/// What was written.
struct simulated_run_files {
  std::vector<simulated_file> files;  ///< in the order of runs and files
  std::uint64_t events = 0;           ///< of all types
  std::uint64_t blocks = 0;
  int channels = 0;
};

/// A file cannot be written, or has nothing that could be damaged as was asked; what() names the file or
/// folder and the reason.
struct simulation_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};
/// A stop was requested. Files that were complete by then stay; there is no answer key.
struct simulation_stopped : simulation_error {
  simulation_stopped() : simulation_error("The simulation was stopped") {}
};

/// Called by the thread that simulates, after each pulse, with the pulses done and the total. What it
/// throws ends the simulation as a stop request does.
using simulation_progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Throws std::invalid_argument, which names the setting, for what cannot be simulated.
void check_simulation(const simulation& what);

/// Writes the files. Each appears under its name when it is complete and on disk; one of the same name is
/// replaced. Throws std::invalid_argument as check_simulation() does, simulation_error and
/// simulation_stopped.
simulated_run_files simulate(const simulation& what, std::stop_token stop = {},
                             const simulation_progress& progress = {});

}  // namespace ravo

#endif
