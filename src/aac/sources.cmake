set(units aac_ai.cpp aachelp.cpp aachuff.cpp aacunpck.cpp)
