@echo off

if exist melta.train del /s /q melta.train > nul
type nul > melta.train

if exist dft_out rmdir /s /q dft_out > nul

mkdir dft_out
chdir dft_out

set OMP_NUM_THREADS=1

for /l %%i in (1,1,1) do (
  mkdir out.%%i
  chdir out.%%i
  copy  /y ..\..\dft_inp\inp.%%i PW.inp > nul
  mpiexec -n 2 pw.exe -in PW.inp 1> PW.out 2> PW.err
  type *.melta tmpdir\*.melta >> ..\..\melta.train 2> nul
  for /d /r . %%j in (*.save) do rmdir /s /q %%j > nul
  chdir ..
)

chdir ..
