print("never printed")
repeat x = 1 until true
