do
  print(1)
end
