set(units
  sbr2.cpp
)
