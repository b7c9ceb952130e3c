set(units
  mp3efft.cpp
  mp3efmdct.cpp
  mp3epfilt.cpp
  mp3epsych.cpp
  mp3epsychtbl.cpp
)
