namespace vesk_generate {}
