-- math.floor on the edges of exact doubles: integers beyond 2^53 go through a double and come back
-- rounded to it; integers and floats within stay exact.
print("at 2^53", math.floor(9007199254740992), math.floor(-9007199254740992))
print("beyond 2^53", math.floor(9007199254740993), math.floor(-9007199254740993))
print("largest integers", math.floor(9223372036854775807), math.floor(-9223372036854775807 - 1))
print("below 2^52", math.floor(4503599627370495.5), math.floor(-4503599627370495.5))
print("small floats", math.floor(0.999999), math.floor(-0.000001), math.floor(1.0), math.floor(-1.0))
print("large floats", math.floor(9007199254740991.0), math.floor(18014398509481984.0))
print("integer in, integer out", math.floor(41) + 1, math.floor(7 / 7) + 1)
