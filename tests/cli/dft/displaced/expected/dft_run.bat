@echo off

if exist melta.test del /s /q melta.test > nul
type nul > melta.test

if exist dft_out rmdir /s /q dft_out > nul

mkdir dft_out
chdir dft_out

set OMP_NUM_THREADS=4

for /l %%i in (1,1,2) do (
  mkdir out.%%i
  chdir out.%%i
  copy  /y ..\..\dft_inp\inp.%%i PW.inp > nul
  mpirun -n 1 pw.x -in PW.inp 1> PW.out 2> PW.err
  type *.melta tmpdir\*.melta >> ..\..\melta.test 2> nul
  for /d /r . %%j in (*.save) do rmdir /s /q %%j > nul
  chdir ..
)

chdir ..
