set(units
  bitcursor.cpp
  memory.cpp
  mp3sfbtbl.cpp
  vectorkernels.cpp
)
