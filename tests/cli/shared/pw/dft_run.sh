#!/bin/sh

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

OMP_NUM_THREADS=1
export OMP_NUM_THREADS

for i in `seq 1`
do
  mkdir out.${i}
  cd    out.${i}
  cp  ../../dft_inp/inp.${i} PW.inp
  mpiexec -n 2 pw.exe -in PW.inp 1> PW.out 2> PW.err
  cat *.melta tmpdir/*.melta >> ../../melta.train
  rm -rf *.save tmpdir/*.save
  cd    ..
done
