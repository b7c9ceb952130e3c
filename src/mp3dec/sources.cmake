set(units mp3dhuff.cpp mp3dhufftbl.cpp mp3dunpck.cpp)
