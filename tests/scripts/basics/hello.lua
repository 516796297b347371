print("hello", 1, 2.5, nil, true)
print()
print({1, 2, {x = 1}}, print)
