#pragma once

// The fixed names of the files in the working directory.
namespace melta::fileNames {

inline constexpr const char* properties = "melta.prop";            // settings of a run
inline constexpr const char* behler = "melta.behler";              // Behler functions
inline constexpr const char* network = "melta.data";               // trained networks
inline constexpr const char* train = "melta.train";                // training data
inline constexpr const char* test = "melta.test";                  // testing data
inline constexpr const char* validation = "melta.valid";           // validation data
inline constexpr const char* classical = "melta.class";            // Lennard-Jones-like potential
inline constexpr const char* reaxFF = "ffield.reax";               // ReaxFF potential
inline constexpr const char* zbl = "melta.zbl";                    // radii of the ZBL repulsion
inline constexpr const char* distribution = "melta.gdist";         // distributions of the symmetry functions
inline constexpr const char* stopFile = "melta.EXIT";              // request to end a training
inline constexpr const char* metropolis = "melta.metro";           // input of the Metropolis walk
inline constexpr const char* metropolisStart = ".metropolis.geom"; // its first geometry, until it begins
inline constexpr const char* forceField = "ffield.melta";          // exported force field
inline constexpr const char* testTotalEnergy = "melta.etot";       // results of the accuracy test
inline constexpr const char* testAtomicEnergy = "melta.eatom";
inline constexpr const char* testForce = "melta.force";
inline constexpr const char* testCharge = "melta.charge";
inline constexpr const char* testStress = "melta.stress";
inline constexpr const char* testWorst = "melta.worst";

// Geometries of the Metropolis walk, "dft_geom/geom.1" and so on, which the DFT jobs take up.
inline constexpr const char* geometryDirectory = "dft_geom";
inline constexpr const char* geometryStem = "geom.";

// The same geometries as frames for a viewer, "movie/metro_1.xyz".
inline constexpr const char* movieDirectory = "movie";
inline constexpr const char* movieStem = "metro_";

} // namespace melta::fileNames
