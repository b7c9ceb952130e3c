set(units vlcesc.cpp vlcesctuple.cpp)
