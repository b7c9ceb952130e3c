set(units
  fft32s.cpp
)
