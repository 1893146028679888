#!/bin/sh

if [ -e melta.test ]
then
  rm -rf melta.test
fi

touch melta.test

if [ -e dft_out ]
then
  rm -rf dft_out
fi

mkdir dft_out
cd    dft_out

OMP_NUM_THREADS=4
export OMP_NUM_THREADS

for i in `seq 2`
do
  mkdir out.${i}
  cd    out.${i}
  cp  ../../dft_inp/inp.${i} PW.inp
  mpirun -n 1 pw.x -in PW.inp 1> PW.out 2> PW.err
  cat *.melta tmpdir/*.melta >> ../../melta.test
  rm -rf *.save tmpdir/*.save
  cd    ..
done
