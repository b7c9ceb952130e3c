set(units
  mp3efft.cpp
  mp3epsych.cpp
  mp3epsychtbl.cpp
)
