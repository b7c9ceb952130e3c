set(units
  mp3dhuff.cpp
  mp3dhufftbl.cpp
  mp3dmdct.cpp
  mp3dpfilt.cpp
  mp3drqnt.cpp
  mp3dunpck.cpp
)
