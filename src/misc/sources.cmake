set(units
  dtssynthesis.cpp
  tvq.cpp
)
