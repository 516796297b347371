if true then
  print("x")
