set(units
  fft32f.cpp
  fft32fkernels.cpp
  fft32ftables.cpp
  fft32s.cpp
  fftbitrev.cpp
  fftlarge.cpp
)
