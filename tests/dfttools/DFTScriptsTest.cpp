#include "dfttools/DFTScripts.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

DFTJobs makeJobs() {
    DFTJobs jobs;
    jobs.numGeoms = 12;
    jobs.commandQE = "/opt/qe/pw.x";
    jobs.commandMPI = "mpirun";
    jobs.numMPI = 3;
    jobs.numOMP = 4;
    return jobs;
}

} // namespace

TEST(DFTScripts, ForWindows) {
    EXPECT_EQ(batchScriptOf(makeJobs(), "melta.test"), R"(@echo off

if exist melta.test del /s /q melta.test > nul
type nul > melta.test

if exist dft_out rmdir /s /q dft_out > nul

mkdir dft_out
chdir dft_out

set OMP_NUM_THREADS=4

for /l %%i in (1,1,12) do (
  mkdir out.%%i
  chdir out.%%i
  copy  /y ..\..\dft_inp\inp.%%i PW.inp > nul
  mpirun -n 3 /opt/qe/pw.x -in PW.inp 1> PW.out 2> PW.err
  type *.melta tmpdir\*.melta >> ..\..\melta.test 2> nul
  for /d /r . %%j in (*.save) do rmdir /s /q %%j > nul
  chdir ..
)

chdir ..
)");
}

TEST(DFTScripts, ForAShell) {
    EXPECT_EQ(shellScriptOf(makeJobs(), "melta.train"), R"(#!/bin/sh

if [ -e melta.train ]
then
  rm -rf melta.train
fi

touch melta.train

if [ -e dft_out ]
then
  rm -rf dft_out
fi

mkdir dft_out
cd    dft_out

OMP_NUM_THREADS=4
export OMP_NUM_THREADS

for i in `seq 12`
do
  mkdir out.${i}
  cd    out.${i}
  cp  ../../dft_inp/inp.${i} PW.inp
  mpirun -n 3 /opt/qe/pw.x -in PW.inp 1> PW.out 2> PW.err
  cat *.melta tmpdir/*.melta >> ../../melta.train
  rm -rf *.save tmpdir/*.save
  cd    ..
done
)");
}

} // namespace melta
