set(units
  dtssynthesis.cpp
)
