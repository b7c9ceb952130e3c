set(units
  bitcursor.cpp
  memory.cpp
)
