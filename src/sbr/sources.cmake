set(units
  psqmf.cpp
  sbr2.cpp
  sbreqmf.cpp
  sbretnrestimate.cpp
  sbretrandetect.cpp
)
