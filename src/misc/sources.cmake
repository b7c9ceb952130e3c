set(units
  dtssynthesis.cpp
  firblock.cpp
  tvq.cpp
)
