print("fine")
x = "abc\