namespace vesk_inspect {}
